// ReadOrvbTable, DecodeOrvbBlock and DecompressOrvbFile: every rule and message, the publisher's
// files, and blocks read by offset wherever they lie.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "file_builders.h"
#include "formats/codec/compression_algorithm.h"
#include "formats/orvb.h"
#include "packed_file_fixture.h"
#include "test_data.h"

namespace orv {

namespace {

std::span<const std::uint8_t> Bytes(const std::string& s) {
  return {reinterpret_cast<const std::uint8_t*>(s.data()), s.size()};
}

std::string TableError(const std::string& bytes) {
  OrvbTable table;
  std::string error;
  return ReadOrvbTable(Bytes(bytes), table, error) ? "" : error;
}

TEST(OrvbTable, HeaderRules) {
  const std::vector<OrvbEntry> three = {{100, 4, 0}, {104, 4, 0}, {108, 2, 1}};
  EXPECT_EQ(TableError(OrvbHead(4, 4, 10, 3, three)), "");
  EXPECT_EQ(TableError(OrvbHead(4, 4, 10, 3, three).substr(0, 27)), "arquivo em blocos invalido");
  EXPECT_EQ(TableError(OrvbHead(4, 4, 10, 3, three, 1, "ORVZ")), "arquivo em blocos invalido");
  EXPECT_EQ(TableError(OrvbHead(4, 4, 10, 3, three, 2)), "cabecalho em blocos invalido");
  EXPECT_EQ(TableError(OrvbHead(4, 0, 10, 3, three)), "cabecalho em blocos invalido");
  EXPECT_EQ(TableError(OrvbHead(4, 0x10000001, 10, 1, {{100, 4, 0}})), "cabecalho em blocos invalido");
  EXPECT_EQ(TableError(OrvbHead(4, 0x10000000, 10, 1, {{100, 4, 0}})), "");
  // Raw size 10 in blocks of 4 needs exactly 3 blocks; raw size 0 needs none.
  EXPECT_EQ(TableError(OrvbHead(4, 4, 10, 2, three)), "cabecalho em blocos invalido");
  EXPECT_EQ(TableError(OrvbHead(4, 4, 10, 4, three)), "cabecalho em blocos invalido");
  EXPECT_EQ(TableError(OrvbHead(4, 4, 0, 0, {})), "");
  EXPECT_EQ(TableError(OrvbHead(4, 4, 0, 1, {{28, 1, 1}})), "cabecalho em blocos invalido");
  // The table (76 bytes here) must be all there; anything after it is ignored.
  EXPECT_EQ(TableError(OrvbHead(4, 4, 10, 3, three).substr(0, 75)), "tabela em blocos truncada");
  EXPECT_EQ(TableError(OrvbHead(4, 4, 10, 3, three) + "mais dados"), "");
}

TEST(OrvbTable, EntryRules) {
  // Block size 4: stored lengths 1 to 65542 (4 + 2 + 65536).
  EXPECT_EQ(TableError(OrvbHead(4, 4, 8, 2, {{0, 65542, 0}, {0, 1, 0}})), "");
  EXPECT_EQ(TableError(OrvbHead(4, 4, 8, 2, {{0, 65543, 0}, {0, 1, 0}})), "tabela em blocos invalida");
  EXPECT_EQ(TableError(OrvbHead(4, 4, 8, 2, {{0, 4, 0}, {0, 0, 0}})), "tabela em blocos invalida");

  // Offsets, flags and the algorithm are taken as they are.
  OrvbTable table;
  std::string error;
  ASSERT_TRUE(ReadOrvbTable(Bytes(OrvbHead(77, 4, 6, 2, {{~0ull, 4, 5}, {3, 2, 0}})), table, error));
  EXPECT_EQ(table.algorithm, 77u);
  EXPECT_EQ(table.block_size, 4u);
  EXPECT_EQ(table.raw_size, 6u);
  ASSERT_EQ(table.blocks.size(), 2u);
  EXPECT_EQ(table.blocks[0].offset, ~0ull);
  EXPECT_EQ(table.blocks[0].stored_flag, 5u);
  EXPECT_EQ(table.blocks[1].stored_length, 2u);
  EXPECT_EQ(OrvbBlockRawLength(table, 0), 4u);
  EXPECT_EQ(OrvbBlockRawLength(table, 1), 2u);
}

TEST(OrvbBlock, StoredAndCompressedBlocks) {
  OrvbTable table;
  std::string error;
  const std::string abcd = Container(kAlgorithmXpressHuff, "abcd");
  ASSERT_TRUE(ReadOrvbTable(Bytes(OrvbHead(kAlgorithmXpressHuff, 4, 10, 3,
                                           {{0, static_cast<std::uint32_t>(abcd.size()), 0}, {0, 4, 1}, {0, 2, 1}})),
                            table, error));
  std::vector<std::uint8_t> out(100, 'z');
  ASSERT_TRUE(DecodeOrvbBlock(table, 0, Bytes(abcd), out, error)) << error;
  EXPECT_EQ(std::string(out.begin(), out.end()), "abcd");
  ASSERT_TRUE(DecodeOrvbBlock(table, 1, Bytes("efgh"), out, error));
  EXPECT_EQ(std::string(out.begin(), out.end()), "efgh");
  ASSERT_TRUE(DecodeOrvbBlock(table, 2, Bytes("ij"), out, error));
  EXPECT_EQ(std::string(out.begin(), out.end()), "ij");

  // The last block is 2 bytes long: a stored length of 4 is wrong for it.
  table.blocks[2].stored_length = 4;
  EXPECT_FALSE(DecodeOrvbBlock(table, 2, Bytes("ijkl"), out, error));
  EXPECT_EQ(error, "bloco cru com tamanho errado");

  // Compressed blocks: wrong size, damage, unknown algorithm.
  EXPECT_FALSE(DecodeOrvbBlock(table, 0, Bytes(Container(kAlgorithmXpressHuff, "abc")), out, error));
  EXPECT_EQ(error, "bloco corrompido");
  std::string damaged = abcd;
  damaged[10] ^= 1;
  EXPECT_FALSE(DecodeOrvbBlock(table, 0, Bytes(damaged), out, error));
  EXPECT_EQ(error, "bloco corrompido");
  table.algorithm = 9;
  EXPECT_FALSE(DecodeOrvbBlock(table, 0, Bytes(abcd), out, error));
  EXPECT_EQ(error, "algoritmo de compressao nao suportado");
  EXPECT_TRUE(DecodeOrvbBlock(table, 1, Bytes("efgh"), out, error)) << "stored blocks need no decoder";
}

class OrvbFileTest : public PackedFileTest<DecompressOrvbFile, WriteOrvbFile> {};

TEST_F(OrvbFileTest, PublishedFilesRoundTrip) {
  struct Case {
    std::uint32_t algorithm, block;
    std::vector<std::uint8_t> data;
  };
  std::vector<std::uint8_t> mixed = RandomBytes(150000, 5);
  const auto text = TextBytes(150000, 6);
  mixed.insert(mixed.end(), text.begin(), text.end());
  const std::vector<Case> cases = {{kAlgorithmXpressHuff, 65536, mixed},
                                   {kAlgorithmMszip, 100000, mixed},
                                   {kAlgorithmXpressHuff, 1 << 20, BinaryBytes(70000, 7)},
                                   {kAlgorithmXpressHuff, 3, {1, 2, 3, 4, 5, 6, 7}},
                                   {kAlgorithmMszip, 4096, {}}};
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.algorithm << "/" << c.block << "/" << c.data.size());
    ASSERT_EQ(Pack(std::string(c.data.begin(), c.data.end()), {c.algorithm, c.block, 6}), "");
    ASSERT_EQ(DecodeFile(source_, target_), "");
    EXPECT_EQ(ReadTestFile(target_), std::string(c.data.begin(), c.data.end()));
  }
  // Random blocks do not shrink: they are stored raw, the text blocks compressed.
  ASSERT_EQ(Pack(std::string(mixed.begin(), mixed.end()), {kAlgorithmXpressHuff, 65536, 6}), "");
  OrvbTable table;
  std::string error;
  ASSERT_TRUE(ReadOrvbTable(Bytes(ReadTestFile(source_)), table, error));
  EXPECT_NE(table.blocks.front().stored_flag, 0u);
  EXPECT_EQ(table.blocks.front().stored_length, 65536u);
  EXPECT_EQ(table.blocks.back().stored_flag, 0u);
}

TEST_F(OrvbFileTest, StoredOnlyFilesNeedNoKnownAlgorithm) {
  EXPECT_EQ(Decode(OrvbFile(9, 4, 10, {"abcd", "efgh", "ij"}, {1, 1, 1})), "");
  EXPECT_EQ(ReadTestFile(target_), "abcdefghij");
  EXPECT_EQ(Decode(OrvbFile(9, 4, 10, {"abcd", Container(kAlgorithmXpressHuff, "efgh"), "ij"}, {1, 0, 1})),
            "algoritmo de compressao nao suportado");
}

TEST_F(OrvbFileTest, EmptyFile) {
  EXPECT_EQ(Decode(OrvbHead(kAlgorithmXpressHuff, 4, 0, 0, {})), "");
  EXPECT_TRUE(std::filesystem::exists(target_));
  EXPECT_EQ(ReadTestFile(target_), "");
}

// Blocks are found by offset: out of order, apart, even shared.
TEST_F(OrvbFileTest, BlocksAreReadByOffset) {
  std::string file = OrvbHead(kAlgorithmXpressHuff, 4, 10, 3, {{100, 4, 1}, {80, 4, 1}, {80, 2, 1}});
  file.resize(104, '-');
  file.replace(80, 4, "WXYZ");
  file.replace(100, 4, "abcd");
  EXPECT_EQ(Decode(file), "");
  EXPECT_EQ(ReadTestFile(target_), "abcdWXYZWX");
  // An offset beyond the end of the file.
  EXPECT_EQ(Decode(OrvbHead(kAlgorithmXpressHuff, 4, 4, 1, {{1000, 4, 1}}) + "abcd"), "arquivo em blocos truncado");
  // Stored bytes cut short by the end of the file (the whole file is 68 bytes).
  EXPECT_EQ(Decode(OrvbFile(kAlgorithmXpressHuff, 4, 8, {"abcd", "efgh"}, {1, 1}).substr(0, 66)),
            "arquivo em blocos truncado");
}

// Every entry names the same stored block: the header's raw size is the only bound on the output.
// Against the size the manifest gives, a header that claims more (or less) is refused before the
// target exists.
TEST_F(OrvbFileTest, AHeaderThatDisagreesWithTheExpectedSizeWritesNothing) {
  // 4000 entries of 4096 bytes claim 16384000; the one stored block lies after the table, at 64028.
  const std::vector<OrvbEntry> entries(4000, OrvbEntry{64028, 4096, 1});
  const std::string bomb = OrvbHead(kAlgorithmXpressHuff, 4096, 16384000, 4000, entries) + std::string(4096, 'b');
  EXPECT_EQ(Decode(bomb, nullptr, 8192), "tabela em blocos nao bate com o manifesto");
  EXPECT_FALSE(std::filesystem::exists(target_));
  EXPECT_EQ(Decode(bomb, nullptr, 16384001), "tabela em blocos nao bate com o manifesto");
  EXPECT_FALSE(std::filesystem::exists(target_));
  EXPECT_EQ(Decode(bomb, nullptr, 16384000), "");
  EXPECT_EQ(std::filesystem::file_size(target_), 16384000u);

  // A stored length the file cannot hold is a truncated file, whatever the block size allows
  // (402718720 is the most a block of 0x10000000 may declare).
  const std::string claim = OrvbHead(kAlgorithmXpressHuff, 0x10000000, 0x10000000, 1, {{44, 402718720, 0}});
  EXPECT_EQ(Decode(claim + "abcd", nullptr, 0x10000000), "arquivo em blocos truncado");
}

TEST_F(OrvbFileTest, FileLevelChecks) {
  EXPECT_EQ(DecodeFile(dir_ / "nao-existe.orvb", target_), "nao abriu o arquivo em blocos");
  const std::string good = OrvbFile(kAlgorithmXpressHuff, 4, 8, {"abcd", "efgh"}, {1, 1});
  EXPECT_EQ(Decode(good.substr(0, 27)), "arquivo em blocos truncado");
  EXPECT_EQ(Decode(good.substr(0, 59)), "tabela em blocos truncada");  // the table ends at 60
  // A count of four billion in a small file: the table read fails on the data, not on memory.
  EXPECT_EQ(Decode(OrvbHead(kAlgorithmXpressHuff, 1, 0xFFFFFFFFull, 0xFFFFFFFFu, {{0, 1, 1}})),
            "tabela em blocos truncada");
  // The count is trusted before the magic: a wrong magic with a whole table is the table's message.
  std::string wrong_magic = good;
  wrong_magic[3] = 'Z';
  EXPECT_EQ(Decode(wrong_magic), "arquivo em blocos invalido");
  // The table's other rules: OrvbTable.HeaderRules and EntryRules.
  EXPECT_FALSE(std::filesystem::exists(target_)) << "no target before the table passed";

  WriteTestFile(source_, good);
  EXPECT_EQ(DecodeFile(source_, dir_ / "sem-pasta" / "x"), "nao criou o arquivo de saida");
}

TEST_F(OrvbFileTest, CancelAndBlockErrorsStopTheDecode) {
  CancelFlag cancel{1};
  EXPECT_EQ(Decode(OrvbFile(kAlgorithmXpressHuff, 4, 10, {"abcd", "efgh", "ij"}, {1, 1, 1}), &cancel), "cancelado");
  EXPECT_EQ(ReadTestFile(target_), "");
  EXPECT_EQ(Decode(OrvbFile(kAlgorithmXpressHuff, 4, 10, {"abcd", "efgh", "ijkl"}, {1, 1, 1})),
            "bloco cru com tamanho errado");
  EXPECT_EQ(ReadTestFile(target_), "abcdefgh") << "the blocks before stay written";
}

TEST_F(OrvbFileTest, FailedWritesAreReported) {
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "needs /dev/full";
  WriteTestFile(source_, OrvbFile(kAlgorithmXpressHuff, 4, 4, {"abcd"}, {1}));
  EXPECT_EQ(DecodeFile(source_, "/dev/full"), "falha ao gravar (disco cheio?)");
}

}  // namespace

}  // namespace orv
