#include "formats/codec/xpress_huff_encoder.h"

#include <cstring>
#include <vector>

#include "formats/codec/byte_order.h"
#include "formats/codec/huffman_code.h"
#include "formats/codec/lz_match_finder.h"

namespace orv {

namespace {

constexpr std::size_t kTableSpan = 65536;
constexpr std::size_t kTableBytes = 256;
constexpr unsigned kSymbols = 512;
constexpr unsigned kMaxCodeLength = 15;
constexpr unsigned kEndSymbol = 256;

// One parsed item: a literal (distance 0, length = the byte) or a match.
struct Item {
  std::uint32_t length;
  std::uint32_t distance;
};

unsigned Log2(std::uint32_t v) { return 31u - static_cast<unsigned>(__builtin_clz(v)); }

unsigned MatchSymbol(const Item& m) {
  const std::uint32_t extra = m.length - 3;
  return 256 + (Log2(m.distance) << 4) + (extra < 15 ? extra : 15);
}

// Long-match length bytes, written after the symbol (see EmitMatch).
unsigned LengthBytes(std::uint32_t length) {
  const std::uint32_t extra = length - 3;
  if (extra < 15) return 0;
  if (extra - 15 < 255) return 1;
  return extra <= 0xFFFF ? 3 : 7;
}

// Writes the bit stream as the decoder reads it: 16-bit words, most significant bit first, with
// the next two word slots reserved ahead of the byte position. A word is flushed only when a further
// bit arrives, so bytes (long-match lengths, the next table) land exactly after the words the
// decoder holds at that moment.
class BitWriter {
 public:
  explicit BitWriter(std::uint8_t* out) : out_(out) {}

  void Begin(std::size_t at) {
    slot1_ = at;
    slot2_ = at + 2;
    pos_ = at + 4;
    bits_ = 0;
    count_ = 0;
  }

  // count <= 16
  void Put(std::uint32_t value, unsigned count) {
    bits_ = (bits_ << count) | value;
    count_ += count;
    if (count_ > 16) {
      count_ -= 16;
      StoreLe16(out_ + slot1_, static_cast<std::uint16_t>(bits_ >> count_));
      bits_ &= (1u << count_) - 1;
      slot1_ = slot2_;
      slot2_ = pos_;
      pos_ += 2;
    }
  }

  void PutByte(std::uint8_t b) { out_[pos_++] = b; }
  void PutLe16(std::uint16_t v) {
    StoreLe16(out_ + pos_, v);
    pos_ += 2;
  }
  void PutLe32(std::uint32_t v) {
    StoreLe32(out_ + pos_, v);
    pos_ += 4;
  }

  // Flushes the partial word and the reserved one; returns the end position.
  std::size_t Finish() {
    StoreLe16(out_ + slot1_, static_cast<std::uint16_t>(bits_ << (16 - count_)));
    StoreLe16(out_ + slot2_, 0);
    return pos_;
  }

 private:
  std::uint8_t* out_;
  std::size_t slot1_ = 0, slot2_ = 0, pos_ = 0;
  std::uint32_t bits_ = 0;
  unsigned count_ = 0;
};

// Greedy parse with one step of lazy evaluation over [start, end); matches stay inside it.
void ParseBlock(LzMatchFinder& finder, const std::uint8_t* in, std::size_t start, std::size_t end,
                const XpressHuffEncoderOptions& options, std::vector<Item>& items) {
  auto insert_range = [&](std::size_t from, std::size_t to) {
    for (std::size_t p = from; p < to; ++p) finder.Insert(p);
  };
  std::size_t pos = start;
  bool pending = false;
  LzMatch previous;
  while (pos < end) {
    const LzMatch current = finder.Find(pos, end - pos);
    finder.Insert(pos);
    if (pending) {
      if (current.length > previous.length) {
        // The match one byte later is longer: the byte before it goes out as a literal.
        items.push_back({in[pos - 1], 0});
        previous = current;
        ++pos;
        continue;
      }
      items.push_back({previous.length, previous.distance});
      const std::size_t match_end = pos - 1 + previous.length;
      insert_range(pos + 1, match_end);
      pos = match_end;
      pending = false;
      continue;
    }
    if (current.length >= LzMatchFinder::kMinLength) {
      if (!options.lazy || current.length >= options.nice_length) {
        items.push_back({current.length, current.distance});
        insert_range(pos + 1, pos + current.length);
        pos += current.length;
        continue;
      }
      pending = true;
      previous = current;
      ++pos;
      continue;
    }
    items.push_back({in[pos], 0});
    ++pos;
  }
  if (pending) items.push_back({previous.length, previous.distance});
}

}  // namespace

XpressHuffEncoderOptions XpressHuffOptionsForLevel(int level) {
  XpressHuffEncoderOptions o;
  if (level <= 1) {
    o.max_chain = 4, o.nice_length = 32, o.lazy = false;
  } else if (level <= 3) {
    o.max_chain = 8, o.nice_length = 64, o.lazy = false;
  } else if (level <= 6) {
    o.max_chain = 24, o.nice_length = 128, o.lazy = true;
  } else {
    o.max_chain = 96, o.nice_length = 512, o.lazy = true;
  }
  return o;
}

std::size_t EncodeXpressHuffStream(const std::uint8_t* in, std::size_t size, std::uint8_t* out, std::size_t capacity,
                                   const XpressHuffEncoderOptions& options) {
  if (size == 0 || size > 0xFFFFFFFFu) return 0;
  LzMatchFinder finder(in, size, options.max_chain, options.nice_length);
  std::vector<Item> items;
  items.reserve(kTableSpan);
  BitWriter writer(out);
  std::size_t out_pos = 0;

  for (std::size_t start = 0; start < size; start += kTableSpan) {
    const std::size_t end = size - start < kTableSpan ? size : start + kTableSpan;
    const bool last = end == size;
    items.clear();
    ParseBlock(finder, in, start, end, options, items);

    std::uint32_t frequency[kSymbols] = {};
    for (const Item& item : items) ++frequency[item.distance == 0 ? item.length : MatchSymbol(item)];
    if (last) ++frequency[kEndSymbol];
    std::uint8_t lengths[kSymbols];
    std::uint16_t codes[kSymbols];
    BuildLimitedCodeLengths(frequency, kSymbols, kMaxCodeLength, lengths);
    AssignCanonicalCodes(lengths, kSymbols, codes);

    // Exact bit count and an upper bound of the bytes, checked before anything is written.
    std::uint64_t bits = 0, extra_bytes = 0;
    for (unsigned s = 0; s < kSymbols; ++s) bits += std::uint64_t{frequency[s]} * lengths[s];
    for (const Item& item : items) {
      if (item.distance != 0) {
        bits += Log2(item.distance);
        extra_bytes += LengthBytes(item.length);
      }
    }
    const std::uint64_t block_bound = kTableBytes + 4 + 2 * ((bits + 15) / 16) + extra_bytes;
    if (block_bound > capacity - out_pos) return 0;

    for (unsigned i = 0; i < kTableBytes; ++i) {
      out[out_pos + i] = static_cast<std::uint8_t>(lengths[2 * i] | (lengths[2 * i + 1] << 4));
    }
    writer.Begin(out_pos + kTableBytes);
    for (const Item& item : items) {
      if (item.distance == 0) {
        writer.Put(codes[item.length], lengths[item.length]);
        continue;
      }
      const unsigned symbol = MatchSymbol(item);
      writer.Put(codes[symbol], lengths[symbol]);
      const std::uint32_t extra = item.length - 3;
      if (extra >= 15) {
        if (extra - 15 < 255) {
          writer.PutByte(static_cast<std::uint8_t>(extra - 15));
        } else {
          writer.PutByte(255);
          if (extra <= 0xFFFF) {
            writer.PutLe16(static_cast<std::uint16_t>(extra));
          } else {
            writer.PutLe16(0);
            writer.PutLe32(extra);
          }
        }
      }
      const unsigned distance_bits = Log2(item.distance);
      if (distance_bits > 0) writer.Put(item.distance - (1u << distance_bits), distance_bits);
    }
    if (last) writer.Put(codes[kEndSymbol], lengths[kEndSymbol]);
    out_pos = writer.Finish();
  }
  return out_pos;
}

}  // namespace orv
