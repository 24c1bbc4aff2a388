// An independent implementation of the same bit stream: wimlib's XPRESS codec (one table, blocks of
// at most 64 KiB) reads our encoder's output, and our decoder reads wimlib's.
#include <gtest/gtest.h>
#include <wimlib.h>

#include <cstdint>
#include <vector>

#include "formats/codec/xpress_huff_decoder.h"
#include "formats/codec/xpress_huff_encoder.h"
#include "test_data.h"

namespace orv {

namespace {

constexpr std::size_t kBlock = 65536;

std::vector<std::vector<std::uint8_t>> Blocks() {
  std::vector<std::vector<std::uint8_t>> blocks;
  blocks.push_back(TextBytes(kBlock, 31));
  blocks.push_back(BinaryBytes(kBlock, 32));
  blocks.push_back(std::vector<std::uint8_t>(kBlock, 0));
  blocks.push_back(TextBytes(1000, 33));
  blocks.push_back(BinaryBytes(40000, 34));
  std::vector<std::uint8_t> half_random = RandomBytes(kBlock / 2, 35);
  const std::vector<std::uint8_t> text = TextBytes(kBlock / 2, 36);
  half_random.insert(half_random.end(), text.begin(), text.end());
  blocks.push_back(half_random);
  return blocks;
}

TEST(WimlibCrossCheck, WimlibDecodesOurBlocks) {
  wimlib_decompressor* decompressor = nullptr;
  ASSERT_EQ(wimlib_create_decompressor(WIMLIB_COMPRESSION_TYPE_XPRESS, kBlock, &decompressor), 0);
  for (const auto& block : Blocks()) {
    SCOPED_TRACE(block.size());
    for (int level : {1, 6, 9}) {
      std::vector<std::uint8_t> stream(block.size());
      const std::size_t n = EncodeXpressHuffStream(block.data(), block.size(), stream.data(), stream.size(),
                                                   XpressHuffOptionsForLevel(level));
      ASSERT_GT(n, 0u);
      std::vector<std::uint8_t> out(block.size());
      EXPECT_EQ(wimlib_decompress(stream.data(), n, out.data(), out.size(), decompressor), 0) << level;
      EXPECT_TRUE(out == block) << level;
    }
  }
  wimlib_free_decompressor(decompressor);
}

TEST(WimlibCrossCheck, WeDecodeWimlibBlocks) {
  for (unsigned level : {10u, 50u, 100u}) {
    wimlib_compressor* compressor = nullptr;
    ASSERT_EQ(wimlib_create_compressor(WIMLIB_COMPRESSION_TYPE_XPRESS, kBlock, level, &compressor), 0);
    for (const auto& block : Blocks()) {
      SCOPED_TRACE(testing::Message() << block.size() << " bytes, wimlib level " << level);
      std::vector<std::uint8_t> stream(block.size());
      const std::size_t n = wimlib_compress(block.data(), block.size(), stream.data(), stream.size(), compressor);
      if (n == 0) continue;  // did not shrink
      std::vector<std::uint8_t> out(block.size());
      ASSERT_TRUE(DecodeXpressHuffStream(stream.data(), n, out.data(), out.size()));
      EXPECT_TRUE(out == block);
    }
    wimlib_free_compressor(compressor);
  }
}

}  // namespace

}  // namespace orv
