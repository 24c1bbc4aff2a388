// DecompressOrvzFile: the publisher's files round-trip, and every check fails with its own message
// in the order the reader meets them.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "file_builders.h"
#include "formats/codec/compression_algorithm.h"
#include "formats/orvz.h"
#include "packed_file_fixture.h"
#include "test_data.h"

namespace orv {

namespace {

class OrvzTest : public PackedFileTest<DecompressOrvzFile, WriteOrvzFile> {};

std::string AsString(const std::vector<std::uint8_t>& v) { return std::string(v.begin(), v.end()); }

std::string Chunk(const std::string& raw) { return OrvzChunk(Container(kAlgorithmXpressHuff, raw)); }

TEST_F(OrvzTest, PublishedFilesRoundTrip) {
  struct Case {
    std::uint32_t algorithm, chunk;
    std::string data;
  };
  const std::vector<Case> cases = {
      {kAlgorithmXpressHuff, 65536, AsString(TextBytes(200000, 1))},      // short last chunk
      {kAlgorithmXpressHuff, 1 << 20, AsString(BinaryBytes(300000, 2))},  // one chunk
      {kAlgorithmMszip, 100000, AsString(TextBytes(250000, 3))},
      {kAlgorithmMszip, 4096, AsString(RandomBytes(20000, 4))},  // raw-stored containers
      {kAlgorithmXpressHuff, 7, "abcdefghijklmnopqrstu"},        // tiny chunks, exact multiple
      {kAlgorithmXpressHuff, 65536, ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.algorithm << "/" << c.chunk << "/" << c.data.size());
    ASSERT_EQ(Pack(c.data, {c.algorithm, c.chunk, 6}), "");
    ASSERT_EQ(DecodeFile(source_, target_), "");
    EXPECT_EQ(ReadTestFile(target_), c.data);
  }
}

TEST_F(OrvzTest, EmptyFileNeedsNoChunks) {
  EXPECT_EQ(Decode(OrvzHeader(kAlgorithmXpressHuff, 65536, 0)), "");
  EXPECT_TRUE(std::filesystem::exists(target_));
  EXPECT_EQ(ReadTestFile(target_), "");
}

TEST_F(OrvzTest, HeaderChecks) {
  EXPECT_EQ(DecodeFile(dir_ / "nao-existe.orvz", target_), "nao abriu o arquivo comprimido");
  const std::string good = OrvzHeader(kAlgorithmXpressHuff, 16, 0);
  for (std::size_t cut : {0, 3, 4, 11, 12, 16, 23}) {
    EXPECT_EQ(Decode(good.substr(0, cut)), "arquivo comprimido invalido") << cut;
  }
  EXPECT_EQ(Decode(OrvzHeader(kAlgorithmXpressHuff, 16, 0, 1, "ORVB")), "arquivo comprimido invalido");
  EXPECT_EQ(Decode(OrvzHeader(kAlgorithmXpressHuff, 16, 0, 2)), "arquivo comprimido invalido");
  EXPECT_EQ(Decode(OrvzHeader(kAlgorithmXpressHuff, 0, 0)), "arquivo comprimido invalido");
  EXPECT_EQ(Decode(OrvzHeader(kAlgorithmXpressHuff, 0x10000001, 0)), "arquivo comprimido invalido");
  // The largest chunk size is fine (the output buffer is never bigger than the file).
  EXPECT_EQ(Decode(OrvzHeader(kAlgorithmXpressHuff, 0x10000000, 10) + Chunk("0123456789")), "");
  EXPECT_EQ(ReadTestFile(target_), "0123456789");
}

// The algorithm is judged by the decompressor, after the header passed and before the target exists.
TEST_F(OrvzTest, UnknownAlgorithmIsRefusedAfterTheHeaderChecks) {
  EXPECT_EQ(Decode(OrvzHeader(9, 16, 5, 2)), "arquivo comprimido invalido");
  EXPECT_EQ(Decode(OrvzHeader(9, 0, 5)), "arquivo comprimido invalido");
  EXPECT_EQ(Decode(OrvzHeader(9, 16, 5)), "algoritmo de compressao nao suportado");
  EXPECT_FALSE(std::filesystem::exists(target_));
}

TEST_F(OrvzTest, TargetThatCannotBeCreated) {
  WriteTestFile(source_, OrvzHeader(kAlgorithmXpressHuff, 16, 0));
  EXPECT_EQ(DecodeFile(source_, dir_ / "sem-pasta" / "x.bin"), "nao criou o arquivo de saida");
}

TEST_F(OrvzTest, CancelIsSeenBeforeEachChunk) {
  const std::string file = OrvzHeader(kAlgorithmXpressHuff, 4, 8) + Chunk("abcd") + Chunk("efgh");
  CancelFlag cancel{1};
  EXPECT_EQ(Decode(file, &cancel), "cancelado");
  EXPECT_EQ(ReadTestFile(target_), "");
  cancel = 0;
  EXPECT_EQ(Decode(file, &cancel), "");
  EXPECT_EQ(ReadTestFile(target_), "abcdefgh");
}

TEST_F(OrvzTest, ChunkLengthLimits) {
  // Chunk size 16: the limit is 65560 (16 + 8 + 65536). Bytes after a container are not the
  // decoder's concern, so a padded container of exactly the limit decodes.
  std::string packed = Container(kAlgorithmXpressHuff, "sixteen bytes!!!");
  packed.resize(65560, '\0');
  EXPECT_EQ(Decode(OrvzHeader(kAlgorithmXpressHuff, 16, 16) + OrvzChunk(packed)), "");
  EXPECT_EQ(ReadTestFile(target_), "sixteen bytes!!!");
  packed.push_back('\0');
  EXPECT_EQ(Decode(OrvzHeader(kAlgorithmXpressHuff, 16, 16) + OrvzChunk(packed)), "bloco invalido");
  EXPECT_EQ(Decode(OrvzHeader(kAlgorithmXpressHuff, 16, 16) + OrvzChunk("")), "bloco invalido");
}

TEST_F(OrvzTest, TruncatedFiles) {
  const std::string head_and_first = OrvzHeader(kAlgorithmXpressHuff, 4, 8) + Chunk("abcd");
  const std::string whole = head_and_first + Chunk("efgh");
  // Cut inside the second chunk's data, right after the first chunk, inside a length.
  EXPECT_EQ(Decode(whole.substr(0, whole.size() - 1)), "arquivo comprimido truncado");
  EXPECT_EQ(Decode(whole.substr(0, head_and_first.size() + 5)), "arquivo comprimido truncado");
  EXPECT_EQ(Decode(head_and_first), "bloco invalido");
  EXPECT_EQ(Decode(whole.substr(0, head_and_first.size() + 2)), "bloco invalido");
  EXPECT_EQ(ReadTestFile(target_), "abcd") << "the decoded part stays for the caller";
  // Bytes after the last chunk are ignored.
  EXPECT_EQ(Decode(whole + "lixo no fim"), "");
}

TEST_F(OrvzTest, ChunksThatDecodeWrongAreCorrupt) {
  // Raw size 10, chunk size 4: the last chunk must give 2 bytes, not a full chunk.
  const std::string head = OrvzHeader(kAlgorithmXpressHuff, 4, 10);
  const std::string c4 = Chunk("abcd");
  EXPECT_EQ(Decode(head + c4 + c4 + Chunk("ij")), "");
  EXPECT_EQ(ReadTestFile(target_), "abcdabcdij");
  EXPECT_EQ(Decode(head + c4 + c4 + c4), "bloco corrompido");
  // A short chunk in the middle, a container of another algorithm, damaged bytes.
  EXPECT_EQ(Decode(head + Chunk("abc") + c4 + c4), "bloco corrompido");
  EXPECT_EQ(Decode(head + OrvzChunk(Container(kAlgorithmMszip, "abcd")) + c4 + c4), "bloco corrompido");
  std::string damaged = Container(kAlgorithmXpressHuff, std::string(4000, 'x'));
  damaged[30] ^= 0x40;
  EXPECT_EQ(Decode(OrvzHeader(kAlgorithmXpressHuff, 4000, 4000) + OrvzChunk(damaged)), "bloco corrompido");
}

// A bomb: 200 chunks of 64 KiB of zeros in a small file, under a header that claims a terabyte.
// Against the size the manifest gives, it is refused before the target exists; read without one, it
// writes until the file runs out.
TEST_F(OrvzTest, AHeaderThatDisagreesWithTheExpectedSizeWritesNothing) {
  const std::string zeros(65536, '\0');
  const std::string chunk = Chunk(zeros);
  std::string bomb = OrvzHeader(kAlgorithmXpressHuff, 65536, 1ull << 40);
  for (int i = 0; i < 200; ++i) bomb += chunk;
  ASSERT_LT(bomb.size(), 200u * 1024);
  EXPECT_EQ(Decode(bomb, nullptr, 196608), "arquivo comprimido invalido");
  EXPECT_FALSE(std::filesystem::exists(target_));
  EXPECT_EQ(Decode(bomb, nullptr, std::nullopt), "bloco invalido");
  EXPECT_EQ(std::filesystem::file_size(target_), 13107200u);  // the 200 chunks
  std::filesystem::remove(target_);

  // A header claiming less than expected is refused too; the right size decodes.
  const std::string three = OrvzHeader(kAlgorithmXpressHuff, 65536, 196608) + chunk + chunk + chunk;
  EXPECT_EQ(Decode(three, nullptr, 196609), "arquivo comprimido invalido");
  EXPECT_FALSE(std::filesystem::exists(target_));
  EXPECT_EQ(Decode(three, nullptr, 196608), "");
  EXPECT_TRUE(ReadTestFile(target_) == zeros + zeros + zeros);
  EXPECT_EQ(Decode(OrvzHeader(kAlgorithmXpressHuff, 65536, 0), nullptr, 0), "");

  // A chunk length the file cannot hold is a truncated file, whatever the header allows.
  std::string claim = OrvzHeader(kAlgorithmXpressHuff, 0x10000000, 0x10000000);
  PutLe32(claim, 300000000);
  EXPECT_EQ(Decode(claim + zeros, nullptr, 0x10000000), "arquivo comprimido truncado");
}

TEST_F(OrvzTest, FailedWritesAreReported) {
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "needs /dev/full";
  WriteTestFile(source_, OrvzHeader(kAlgorithmXpressHuff, 4, 4) + Chunk("abcd"));
  EXPECT_EQ(DecodeFile(source_, "/dev/full"), "falha ao gravar (disco cheio?)");
}

}  // namespace

}  // namespace orv
