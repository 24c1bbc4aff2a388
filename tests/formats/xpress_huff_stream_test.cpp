// The XPRESS_HUFF bit stream itself: hand-made streams pin the table boundary rules of the
// Compression API, and damaged streams fail without touching memory outside their buffers.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "formats/codec/xpress_huff_decoder.h"
#include "formats/codec/xpress_huff_encoder.h"
#include "test_data.h"

namespace orv {

namespace {

void SetLength(std::vector<std::uint8_t>& stream, std::size_t table_at, unsigned symbol, unsigned length) {
  std::uint8_t& b = stream[table_at + symbol / 2];
  b = static_cast<std::uint8_t>(symbol % 2 == 0 ? (b & 0xF0) | length : (b & 0x0F) | (length << 4));
}

void Append(std::vector<std::uint8_t>& stream, std::initializer_list<std::uint8_t> bytes) {
  stream.insert(stream.end(), bytes);
}

// A match that runs past the 64 KiB mark keeps its table going; the next table starts where the
// reader stands and covers 65,536 bytes from the match's end (not from the next 64 KiB mark).
TEST(XpressHuffStream, TablesFollowMatchesThatCrossTheMark) {
  std::vector<std::uint8_t> s;
  // Table 1: literal 0 = "0", match (distance 1, long length) = "1".
  s.resize(256);
  SetLength(s, 0, 0, 1);
  SetLength(s, 0, 256 + 15, 1);
  // Bits 0 1, padded; the length bytes follow the two words the reader holds: 255, then u16
  // 65534 (length 65537).
  Append(s, {0x00, 0x40, 0x00, 0x00, 0xFF, 0xFE, 0xFF});
  // Output so far: 65,538 zeros. Table 2: 'A' 00, 'B' 01, 'C' 10, match 11.
  std::size_t t2 = s.size();
  s.resize(t2 + 256);
  SetLength(s, t2, 'A', 2);
  SetLength(s, t2, 'B', 2);
  SetLength(s, t2, 'C', 2);
  SetLength(s, t2, 256 + 15, 2);
  // A, match of 65533 at distance 1 (255, u16 65530), then B and C: the table ends at 65,538 + 65,536.
  Append(s, {0x00, 0x36, 0x00, 0x00, 0xFF, 0xFA, 0xFF});
  // Table 3: 'D' "0", end symbol "1".
  std::size_t t3 = s.size();
  s.resize(t3 + 256);
  SetLength(s, t3, 'D', 1);
  SetLength(s, t3, 256, 1);
  Append(s, {0x00, 0x40, 0x00, 0x00});

  std::vector<std::uint8_t> expected(65538, 0);
  expected.push_back('A');
  expected.insert(expected.end(), 65533, 'A');
  for (std::uint8_t c : {'B', 'C', 'D'}) expected.push_back(c);
  std::vector<std::uint8_t> out(expected.size());
  ASSERT_TRUE(DecodeXpressHuffStream(s.data(), s.size(), out.data(), out.size()));
  EXPECT_TRUE(out == expected);

  // One byte less of input: the last table's words are gone.
  EXPECT_FALSE(DecodeXpressHuffStream(s.data(), s.size() - 5, out.data(), out.size()));
}

// The 65,537 zeros that the Compression API writes as one table: literal, one match of 65,536, end.
TEST(XpressHuffStream, OneTableMayCoverMoreThan64KiB) {
  std::vector<std::uint8_t> s(256);
  SetLength(s, 0, 0, 2);
  SetLength(s, 0, 256, 2);
  SetLength(s, 0, 256 + 15, 1);
  Append(s, {0x00, 0x98, 0x00, 0x00, 0xFF, 0xFD, 0xFF});
  std::vector<std::uint8_t> out(65537, 0x55);
  ASSERT_TRUE(DecodeXpressHuffStream(s.data(), s.size(), out.data(), out.size()));
  EXPECT_TRUE(out == std::vector<std::uint8_t>(65537, 0));
}

TEST(XpressHuffStream, MalformedStreamsFail) {
  std::vector<std::uint8_t> s(256);
  SetLength(s, 0, 'a', 1);
  SetLength(s, 0, 256 + (3 << 4), 1);  // a match at distance 8..15
  Append(s, {0x00, 0x40, 0x00, 0x00});
  std::vector<std::uint8_t> out(4);
  // "a" then a match reaching before the start of the output.
  EXPECT_FALSE(DecodeXpressHuffStream(s.data(), s.size(), out.data(), out.size()));

  // Over-subscribed lengths: three codes of length 1.
  std::vector<std::uint8_t> bad(260);
  SetLength(bad, 0, 1, 1);
  SetLength(bad, 0, 2, 1);
  SetLength(bad, 0, 3, 1);
  EXPECT_FALSE(DecodeXpressHuffStream(bad.data(), bad.size(), out.data(), out.size()));
  // No code at all: nothing can be decoded.
  std::vector<std::uint8_t> empty(260);
  EXPECT_FALSE(DecodeXpressHuffStream(empty.data(), empty.size(), out.data(), out.size()));
  // Shorter than a table.
  EXPECT_FALSE(DecodeXpressHuffStream(s.data(), 255, out.data(), out.size()));
  // A match longer than the output left.
  std::vector<std::uint8_t> longer(256);
  SetLength(longer, 0, 'z', 1);
  SetLength(longer, 0, 256 + 5, 1);  // distance 1, length 8
  Append(longer, {0x00, 0x40, 0x00, 0x00});
  std::vector<std::uint8_t> small(5);
  EXPECT_FALSE(DecodeXpressHuffStream(longer.data(), longer.size(), small.data(), small.size()));
  std::vector<std::uint8_t> fits(9);
  EXPECT_TRUE(DecodeXpressHuffStream(longer.data(), longer.size(), fits.data(), fits.size()));
}

// Every cut and many bit flips of a real multi-table stream: a failure or a result of the right
// size, never an access outside the buffers (the sanitizer build checks).
TEST(XpressHuffStream, DamagedEncoderOutputFailsCleanly) {
  const std::vector<std::uint8_t> data = TextBytes(70000, 21);
  std::vector<std::uint8_t> stream(data.size());
  const std::size_t n =
      EncodeXpressHuffStream(data.data(), data.size(), stream.data(), stream.size(), XpressHuffOptionsForLevel(6));
  ASSERT_GT(n, 0u);
  stream.resize(n);
  std::vector<std::uint8_t> out(data.size());
  ASSERT_TRUE(DecodeXpressHuffStream(stream.data(), stream.size(), out.data(), out.size()));
  EXPECT_TRUE(out == data);
  for (std::size_t cut = 0; cut + 8 < n; cut += 97) {
    EXPECT_FALSE(DecodeXpressHuffStream(stream.data(), cut, out.data(), out.size())) << cut;
  }
  for (std::size_t at = 0; at < n; at += 29) {
    std::vector<std::uint8_t> damaged = stream;
    damaged[at] ^= static_cast<std::uint8_t>(1u << (at % 8));
    (void)DecodeXpressHuffStream(damaged.data(), damaged.size(), out.data(), out.size());
  }
}

}  // namespace

}  // namespace orv
