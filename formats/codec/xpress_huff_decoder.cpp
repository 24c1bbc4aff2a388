// XPRESS_HUFF decoding.
//
// Design: a 64-bit bit buffer refilled up to four words at a time, and a two-level decode table
// (11 bits, then 4 more bits for the few longer codes) built once per 64 KiB table. The format reads
// long-match length bytes from "the current input position", which in the reference decoder is the
// position right after the words that keep 16..31 bits loaded. Our reader loads further ahead, so on
// those (rare) length bytes and at table ends it maps its own position back to that one and drops
// the words it loaded early. Words past the end of the input read as zero; consuming any of their
// bits is an error.
#include "formats/codec/xpress_huff_decoder.h"

#include <cstring>

#include "formats/codec/byte_order.h"
#include "formats/codec/match_copy.h"

namespace orv {

namespace {

constexpr unsigned kMainBits = 11;
constexpr unsigned kSubBits = 4;  // 11 + 4 = the longest code, 15 bits
constexpr unsigned kMaxCodeLength = 15;
constexpr std::size_t kTableBytes = 256;
constexpr std::size_t kTableSpan = 65536;

// Entry: bits 0..4 code bits to consume (so the entry itself can be the shift count), bits 16..25
// symbol (kInvalid when no code leads here, consuming nothing); kSubtable set: bits 16..31 are the
// subtable's offset and bits 0..4 hold the 11 bits consumed before it.
constexpr std::uint32_t kSubtable = 0x8000u;
constexpr std::uint32_t kInvalid = 0x3FF;
constexpr std::uint32_t kInvalidEntry = kInvalid << 16;
constexpr std::size_t kMaxSubtables = 512;  // one per symbol at most

struct DecodeTable {
  std::uint32_t main[1u << kMainBits];
  std::uint32_t sub[kMaxSubtables << kSubBits];
};

// Builds the canonical code of the 512 lengths. Over-subscribed lengths fail; an incomplete code is
// accepted and its unused codes decode to kInvalid.
bool BuildDecodeTable(const std::uint8_t* packed, DecodeTable& table) {
  std::uint8_t lengths[512];
  unsigned count[kMaxCodeLength + 1] = {};
  for (unsigned i = 0; i < 256; ++i) {
    lengths[2 * i] = packed[i] & 0x0F;
    lengths[2 * i + 1] = packed[i] >> 4;
    ++count[lengths[2 * i]];
    ++count[lengths[2 * i + 1]];
  }
  int left = 1;
  for (unsigned len = 1; len <= kMaxCodeLength; ++len) {
    left = 2 * left - static_cast<int>(count[len]);
    if (left < 0) return false;
  }
  // Symbols in canonical order: by length, then by value.
  unsigned offset[kMaxCodeLength + 2] = {};
  for (unsigned len = 1; len <= kMaxCodeLength; ++len) offset[len + 1] = offset[len] + count[len];
  std::uint16_t sorted[512];
  for (unsigned s = 0; s < 512; ++s) {
    if (lengths[s] != 0) sorted[offset[lengths[s]]++] = static_cast<std::uint16_t>(s);
  }
  const unsigned used = offset[kMaxCodeLength];  // offset[len] now ends length len's run

  for (auto& e : table.main) e = kInvalidEntry;
  unsigned next = 0, code = 0, len = 1, subtables = 0;
  unsigned current_prefix = ~0u, current_sub = 0;
  for (; len <= kMaxCodeLength; ++len, code <<= 1) {
    for (unsigned n = 0; n < count[len]; ++n, ++code) {
      const std::uint32_t symbol = sorted[next++];
      if (len <= kMainBits) {
        const unsigned span = 1u << (kMainBits - len);
        const std::uint32_t entry = (symbol << 16) | len;
        std::uint32_t* dst = table.main + (code << (kMainBits - len));
        for (unsigned i = 0; i < span; ++i) dst[i] = entry;
        continue;
      }
      const unsigned prefix = code >> (len - kMainBits);
      if (prefix != current_prefix) {
        // Codes sharing an 11-bit prefix are consecutive in canonical order.
        current_prefix = prefix;
        current_sub = subtables++ << kSubBits;
        for (unsigned i = 0; i < (1u << kSubBits); ++i) table.sub[current_sub + i] = kInvalidEntry;
        table.main[prefix] = (current_sub << 16) | kSubtable | kMainBits;
      }
      const unsigned rest = len - kMainBits;
      const unsigned low = code & ((1u << rest) - 1);
      const unsigned span = 1u << (kSubBits - rest);
      const std::uint32_t entry = (symbol << 16) | rest;
      std::uint32_t* dst = table.sub + current_sub + (low << (kSubBits - rest));
      for (unsigned i = 0; i < span; ++i) dst[i] = entry;
    }
  }
  (void)used;
  return true;
}

// Bits are kept at the top of `bits`; `count` of them are valid. `pos` is the next word to load and
// may pass the end of the input (those words read as zero).
struct BitReader {
  const std::uint8_t* in;
  std::size_t size;
  std::size_t pos;
  std::uint64_t bits;
  unsigned count;

  void Start(std::size_t at) {
    pos = at;
    bits = 0;
    count = 0;
    Refill();
  }

  // Afterwards 48..63 bits are valid.
  inline void Refill() {
    if (count >= 48) return;
    if (size >= 8 && pos <= size - 8) {
      const std::uint64_t v = LoadLe64(in + pos);
      // Four little-endian words, first word most significant.
      const std::uint64_t words =
          ((v & 0xFFFF) << 48) | ((v & 0xFFFF0000) << 16) | ((v >> 16) & 0xFFFF0000) | (v >> 48);
      // The partial word that lands below the valid bits is the same word the next refill loads.
      bits |= words >> count;
      const unsigned loaded = (63 - count) >> 4;  // count stays below 64, a valid shift
      pos += 2 * loaded;
      count += 16 * loaded;
      return;
    }
    while (count < 48) {
      std::uint64_t word = 0;
      if (pos < size) word = in[pos];
      if (pos + 1 < size) word |= static_cast<std::uint64_t>(in[pos + 1]) << 8;
      bits |= word << (48 - count);
      count += 16;
      pos += 2;
    }
  }

  inline void Consume(unsigned n) {
    bits <<= n;
    count -= n;
  }

  // n in 0..15.
  inline std::uint32_t Take(unsigned n) {
    const auto v = static_cast<std::uint32_t>((bits >> 1) >> (63 - n));
    Consume(n);
    return v;
  }

  inline std::uint32_t DecodeSymbol(const DecodeTable& table) {
    std::uint32_t e = table.main[bits >> (64 - kMainBits)];
    if (e & kSubtable) {
      Consume(kMainBits);
      e = table.sub[(e >> 16) + static_cast<std::uint32_t>(bits >> (64 - kSubBits))];
    }
    Consume(e & 0x1F);
    return e >> 16;
  }

  // Where the reference reader stands: right after the words that keep 16..31 bits loaded.
  // Needs count >= 16.
  [[nodiscard]] std::size_t ReferencePosition() const { return pos - 2 * (count / 16 - 1); }

  // Moves the load position back to the reference one and forgets the bits loaded beyond it.
  void RewindToReference() {
    pos = ReferencePosition();
    count = 16 + count % 16;
    bits &= ~std::uint64_t{0} << (64 - count);
  }

  // True when some consumed bit came from past the end of the input.
  [[nodiscard]] bool Overran() const { return pos > size && static_cast<std::size_t>(count) < (pos - size) * 8; }
};

// The long-length escape: a byte, then a u16, then a u32, each read from the reference position.
inline __attribute__((always_inline)) bool ReadLongLength(BitReader& r, std::size_t& length) {
  r.RewindToReference();
  std::size_t p = r.pos;
  if (p >= r.size) return false;
  const std::uint8_t b = r.in[p++];
  if (b < 255) {
    length = std::size_t{b} + 18;
  } else {
    if (r.size - p < 2) return false;
    const std::uint16_t v = LoadLe16(r.in + p);
    p += 2;
    if (v != 0) {
      length = std::size_t{v} + 3;
    } else {
      if (r.size - p < 4) return false;
      length = std::size_t{LoadLe32(r.in + p)} + 3;
      p += 4;
    }
  }
  r.pos = p;
  return true;
}

// Output room the fast loop keeps: two literals, or a match of up to 18 bytes written as whole
// 8- or 16-byte words (at most 32 bytes past its start before the length is looked at).
constexpr std::size_t kOutSlack = 64;

// Copies a match as whole words; may write up to 32 bytes past its end. Needs distance >= 8 and
// length + 32 <= room.
inline __attribute__((always_inline)) void CopyMatchFast(std::uint8_t* o, std::size_t distance, std::size_t length) {
  const std::uint8_t* src = o - distance;
  if (distance >= 16) {
    std::memcpy(o, src, 16);
    std::memcpy(o + 16, src + 16, 16);
    for (std::size_t i = 32; i < length; i += 16) std::memcpy(o + i, src + i, 16);
  } else {
    std::memcpy(o, src, 8);
    std::memcpy(o + 8, src + 8, 8);
    std::memcpy(o + 16, src + 16, 8);
    for (std::size_t i = 24; i < length; i += 8) std::memcpy(o + i, src + i, 8);
  }
}

// One symbol from the bits held in registers (the fast loop's copy of BitReader::DecodeSymbol).
inline __attribute__((always_inline)) std::uint32_t FastSymbol(const DecodeTable& table, std::uint64_t& bits,
                                                               unsigned& count) {
  std::uint32_t e = table.main[bits >> (64 - kMainBits)];
  if (e & kSubtable) [[unlikely]] {
    bits <<= kMainBits;
    count -= kMainBits;
    e = table.sub[(e >> 16) + static_cast<std::uint32_t>(bits >> (64 - kSubBits))];
  }
  bits <<= (e & 0x1F);
  count -= e & 0x1F;
  return e >> 16;
}

// The bulk of a table's symbols: runs while 8 input bytes can be loaded and the output has
// kOutSlack bytes of room, so neither side needs a check per word or per byte; decodes exactly
// what the careful loop would and leaves the reader where that loop takes over.
inline __attribute__((always_inline)) bool DecodeFast(BitReader& r, const DecodeTable& table, std::uint8_t* const out,
                                                      std::uint8_t*& o_ref, std::uint8_t* const table_end,
                                                      std::uint8_t* const end) {
  if (r.size < 8 || static_cast<std::size_t>(end - o_ref) <= kOutSlack + 1) return true;
  // o < out_limit leaves room for two literals before table_end and kOutSlack before end.
  std::uint8_t* const out_limit = (table_end - 1 < end - kOutSlack) ? table_end - 1 : end - kOutSlack;
  const std::uint8_t* const in = r.in;
  const std::size_t in_limit = r.size - 8;
  std::uint8_t* o = o_ref;
  std::uint64_t bits = r.bits;
  unsigned count = r.count;
  std::size_t pos = r.pos;
  bool ok = true;
  while (o < out_limit && pos <= in_limit) {
    {
      // Whole words only, keeping 48..63 bits valid; the partial word landing below them is the
      // word the next refill loads at that place.
      const std::uint64_t v = LoadLe64(in + pos);
      const std::uint64_t words =
          ((v & 0xFFFF) << 48) | ((v & 0xFFFF0000) << 16) | ((v >> 16) & 0xFFFF0000) | (v >> 48);
      bits |= words >> count;
      const unsigned loaded = (63 - count) >> 4;
      pos += 2 * loaded;
      count += 16 * loaded;
    }
    std::uint32_t symbol = FastSymbol(table, bits, count);
    if (symbol < 256) {
      *o++ = static_cast<std::uint8_t>(symbol);
      symbol = FastSymbol(table, bits, count);
      if (symbol < 256) {
        *o++ = static_cast<std::uint8_t>(symbol);
        continue;
      }
    }
    if (symbol >= 512) [[unlikely]] {
      ok = false;
      break;
    }
    symbol -= 256;
    std::size_t length = symbol & 15;
    const unsigned distance_bits = symbol >> 4;
    if (length == 15) [[unlikely]] {
      r.bits = bits;
      r.count = count;
      r.pos = pos;
      if (!ReadLongLength(r, length)) {
        ok = false;
        break;
      }
      bits = r.bits;
      count = r.count;
      pos = r.pos;
    } else {
      length += 3;
    }
    const std::size_t distance =
        (std::size_t{1} << distance_bits) | static_cast<std::size_t>((bits >> 1) >> (63 - distance_bits));
    bits <<= distance_bits;
    count -= distance_bits;
    const auto room = static_cast<std::size_t>(end - o);
    if (distance > static_cast<std::size_t>(o - out) || length > room) [[unlikely]] {
      ok = false;
      break;
    }
    if (distance >= 8 && length + 32 <= room) [[likely]] {
      CopyMatchFast(o, distance, length);
    } else {
      CopyMatch(o, distance, length, end);
    }
    o += length;
  }
  r.bits = bits;
  r.count = count;
  r.pos = pos;
  o_ref = o;
  return ok;
}
}  // namespace

bool DecodeXpressHuffStream(const std::uint8_t* in, std::size_t in_size, std::uint8_t* out, std::size_t out_size) {
  DecodeTable table;
  std::uint8_t* o = out;
  std::uint8_t* const end = out + out_size;
  std::size_t table_pos = 0;
  BitReader r{in, in_size, 0, 0, 0};

  while (o < end) {
    if (in_size - table_pos < kTableBytes) return false;
    if (!BuildDecodeTable(in + table_pos, table)) return false;
    r.Start(table_pos + kTableBytes);
    std::uint8_t* const table_end = o + ((static_cast<std::size_t>(end - o) < kTableSpan) ? (end - o) : kTableSpan);

    if (!DecodeFast(r, table, out, o, table_end, end)) return false;
    while (o < table_end) {
      r.Refill();
      std::uint32_t symbol = r.DecodeSymbol(table);
      if (symbol < 256) {
        *o++ = static_cast<std::uint8_t>(symbol);
        // Two symbols fit in one refill (48 bits >= 15 + 15 + 15).
        if (o >= table_end) break;
        symbol = r.DecodeSymbol(table);
        if (symbol < 256) {
          *o++ = static_cast<std::uint8_t>(symbol);
          continue;
        }
      }
      if (symbol >= 512) return false;
      symbol -= 256;
      std::size_t length = symbol & 15;
      const unsigned distance_bits = symbol >> 4;
      if (length == 15) {
        if (!ReadLongLength(r, length)) return false;
      } else {
        length += 3;
      }
      // After a long-length escape only 16 bits are sure to be loaded: enough for 15 offset bits.
      const std::size_t distance = (std::size_t{1} << distance_bits) | r.Take(distance_bits);
      if (distance > static_cast<std::size_t>(o - out) || length > static_cast<std::size_t>(end - o)) return false;
      CopyMatch(o, distance, length, end);
      o += length;
    }

    r.Refill();
    if (r.Overran()) return false;
    table_pos = r.ReferencePosition();
    if (table_pos > in_size) table_pos = in_size;
  }
  return true;
}

}  // namespace orv
