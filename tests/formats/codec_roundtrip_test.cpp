// Our encoders' containers decode back to their input, through our reader and the Decompressor
// seam, for every kind of data and the sizes around chunk and table boundaries.
#include <gtest/gtest.h>

#include <cstdint>
#include <utility>
#include <vector>

#include "formats/codec/buffer_container.h"
#include "formats/codec/buffer_decode.h"
#include "formats/codec/buffer_encode.h"
#include "formats/codec/byte_order.h"
#include "formats/codec/compression_algorithm.h"
#include "formats/codec/decompressor.h"
#include "formats/codec/huffman_code.h"
#include "test_data.h"

namespace orv {

namespace {

struct Case {
  const char* name;
  std::vector<std::uint8_t> data;
};

std::vector<Case> Inputs() {
  std::vector<Case> cases;
  cases.push_back({"empty", {}});
  cases.push_back({"one byte", {0x7F}});
  cases.push_back({"all equal 200000", std::vector<std::uint8_t>(200000, 0xAB)});
  cases.push_back({"incompressible 100000", RandomBytes(100000, 1)});
  cases.push_back({"text 64 KiB", TextBytes(65536, 2)});
  cases.push_back({"text 64 KiB + 1", TextBytes(65537, 3)});
  cases.push_back({"binary 64 KiB - 1", BinaryBytes(65535, 4)});
  cases.push_back({"text 300000", TextBytes(300000, 5)});
  cases.push_back({"binary 250001", BinaryBytes(250001, 6)});
  cases.push_back({"two bytes", {1, 2}});
  cases.push_back({"32 KiB + 1 text", TextBytes(32769, 7)});
  // Random with text inside: some chunks stored raw, the next ones compressed.
  std::vector<std::uint8_t> mixed = RandomBytes(70000, 8);
  const std::vector<std::uint8_t> text = TextBytes(70000, 9);
  mixed.insert(mixed.end(), text.begin(), text.end());
  cases.push_back({"random then text", mixed});
  return cases;
}

void ExpectRoundTrip(std::uint32_t algorithm, const std::vector<std::uint8_t>& data, int level) {
  std::vector<std::uint8_t> container;
  ASSERT_TRUE(EncodeBufferMode(algorithm, data.data(), data.size(), container, EncodeOptions{level}));
  ContainerHeader header;
  ASSERT_TRUE(ParseContainerHeader(container.data(), container.size(), header));
  EXPECT_EQ(header.algorithm, algorithm);
  EXPECT_EQ(header.total_size, data.size());
  const std::uint64_t block = algorithm == kAlgorithmMszip ? 32768 : 67108864;  // 32 KiB or 64 MiB chunks
  EXPECT_EQ(header.block_size, data.size() < block ? data.size() : block);

  std::vector<std::uint8_t> out(data.size() + 1);
  std::size_t decoded = 0;
  ASSERT_TRUE(DecodeBufferMode(algorithm, container.data(), container.size(), out.data(), out.size(), &decoded));
  ASSERT_EQ(decoded, data.size());
  out.resize(decoded);
  EXPECT_TRUE(out == data);

  Decompressor decompressor;
  ASSERT_TRUE(decompressor.Create(algorithm));
  std::vector<std::uint8_t> again(data.size());
  ASSERT_TRUE(decompressor.Decompress(container.data(), container.size(), again.data(), again.size(), &decoded));
  EXPECT_TRUE(again == data);
}

TEST(CodecRoundTrip, EveryInputAndLevel) {
  const std::vector<Case> cases = Inputs();
  for (std::uint32_t algorithm : {kAlgorithmMszip, kAlgorithmXpressHuff}) {
    for (const Case& c : cases) {
      for (int level : {1, 6, 9}) {
        SCOPED_TRACE(testing::Message() << "algorithm " << algorithm << ", " << c.name << ", level " << level);
        ExpectRoundTrip(algorithm, c.data, level);
      }
    }
  }
}

// Raw storage: a chunk that does not shrink holds its bytes as they are, so the container is only
// the 24-byte header and a length word per chunk bigger than the input.
TEST(CodecRoundTrip, IncompressibleChunksAreStoredRaw) {
  const std::vector<std::uint8_t> data = RandomBytes(100000, 11);
  std::vector<std::uint8_t> container;
  ASSERT_TRUE(EncodeBufferMode(kAlgorithmMszip, data.data(), data.size(), container, EncodeOptions{}));
  EXPECT_EQ(container.size(), 100040u);  // four chunks
  ASSERT_TRUE(EncodeBufferMode(kAlgorithmXpressHuff, data.data(), data.size(), container, EncodeOptions{}));
  EXPECT_EQ(container.size(), 100028u);  // one chunk
  // A single byte never shrinks either.
  ASSERT_TRUE(EncodeBufferMode(kAlgorithmXpressHuff, data.data(), 1, container, EncodeOptions{}));
  EXPECT_EQ(container.size(), 29u);
}

TEST(CodecRoundTrip, MszipChunksStayInsideTheWindowsLimit) {
  const std::vector<std::uint8_t> data = BinaryBytes(40 * 32768 + 5, 12);
  std::vector<std::uint8_t> container;
  ASSERT_TRUE(EncodeBufferMode(kAlgorithmMszip, data.data(), data.size(), container, EncodeOptions{9}));
  std::size_t at = 24, chunks = 0;  // past the container header
  while (at < container.size()) {
    const std::uint32_t packed = LoadLe32(container.data() + at);
    EXPECT_LE(packed, 32768u + 12u);
    if (packed < 32768u && at + 4 + packed < container.size()) {
      EXPECT_EQ(container[at + 4], 'C');
      EXPECT_EQ(container[at + 5], 'K');
    }
    at += 4 + packed;
    ++chunks;
  }
  EXPECT_EQ(chunks, 41u);
}

TEST(CodecRoundTrip, OnlyMszipAndXpressHuffAreWritten) {
  std::vector<std::uint8_t> container;
  const std::uint8_t byte = 1;
  EXPECT_FALSE(EncodeBufferMode(kAlgorithmXpress, &byte, 1, container, EncodeOptions{}));
  EXPECT_FALSE(EncodeBufferMode(kAlgorithmLzms, &byte, 1, container, EncodeOptions{}));
}

// Code lengths: never above 15, and always a complete code (Kraft sum exactly 1), even for very
// skewed counts and for blocks that use one symbol or none.
TEST(HuffmanCode, LimitedLengthsFormCompleteCodes) {
  auto kraft_in_2_15 = [](const std::uint8_t* lengths) {
    std::uint64_t sum = 0;
    for (int s = 0; s < 512; ++s) {
      if (lengths[s] != 0) sum += std::uint64_t{1} << (15 - lengths[s]);
    }
    return sum;
  };
  const auto sparse = [](std::initializer_list<std::pair<int, std::uint32_t>> counts) {
    std::vector<std::uint32_t> table(512, 0);
    for (const auto& [symbol, count] : counts) table[symbol] = count;
    return table;
  };
  // One symbol, the first symbol only, none, and two of very different weight.
  std::vector<std::vector<std::uint32_t>> tables = {sparse({{300, 12}}), sparse({{0, 1}}), sparse({}),
                                                    sparse({{256, 1}, {65, 1000000}})};
  std::vector<std::uint32_t> fibonacci(512, 0);
  std::uint32_t a = 1, b = 1;
  for (int s = 0; s < 40; ++s) {
    fibonacci[s * 7] = a;
    const std::uint32_t c = a + b;
    a = b;
    b = c > 100000000u ? 100000000u : c;
  }
  tables.push_back(fibonacci);
  std::vector<std::uint32_t> all_used(512);
  for (int s = 0; s < 512; ++s) all_used[s] = 1 + (s * 7919u) % 60000;
  tables.push_back(all_used);

  for (std::size_t t = 0; t < tables.size(); ++t) {
    SCOPED_TRACE(t);
    std::uint8_t lengths[512];
    BuildLimitedCodeLengths(tables[t].data(), 512, 15, lengths);
    for (int s = 0; s < 512; ++s) {
      EXPECT_LE(lengths[s], 15);
      if (tables[t][s] != 0) {
        EXPECT_GT(lengths[s], 0) << s;
      }
    }
    EXPECT_EQ(kraft_in_2_15(lengths), std::uint64_t{1} << 15);
  }
}

}  // namespace

}  // namespace orv
