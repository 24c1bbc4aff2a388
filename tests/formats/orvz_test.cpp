// DecompressOrvzFile: the publisher's files round-trip, and every check fails with its own message
// in the order the reader meets them.
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <optional>
#include <string>

#include "file_builders.h"
#include "formats/codec/compression_algorithm.h"
#include "formats/orvz.h"
#include "formats/pack_writer.h"
#include "support/temp_dir.h"
#include "test_data.h"

namespace orv {

namespace {

class OrvzTest : public testing::Test {
 protected:
  // Writes `bytes` as the source and decodes it; returns the error ("" on success).
  std::string Decode(const std::string& bytes, const CancelFlag* cancel = nullptr,
                     std::optional<std::uint64_t> expected = std::nullopt) {
    WriteTestFile(source_, bytes);
    std::string error;
    if (DecompressOrvzFile(source_, target_, expected, cancel, error)) return "";
    EXPECT_FALSE(error.empty());
    return error;
  }

  TempDir dir_;
  std::filesystem::path source_ = dir_ / "jogo.pak.orvz";
  std::filesystem::path target_ = dir_ / "jogo.pak";
};

std::string AsString(const std::vector<std::uint8_t>& v) { return std::string(v.begin(), v.end()); }

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
    const auto raw = dir_ / "origem.bin";
    WriteTestFile(raw, c.data);
    std::string error;
    ASSERT_TRUE(WriteOrvzFile(raw, source_, PackParameters{c.algorithm, c.chunk, 6}, nullptr, error)) << error;
    ASSERT_TRUE(DecompressOrvzFile(source_, target_, std::nullopt, nullptr, error)) << error;
    EXPECT_EQ(ReadTestFile(target_), c.data);
  }
}

TEST_F(OrvzTest, EmptyFileNeedsNoChunks) {
  EXPECT_EQ(Decode(OrvzHeader(kAlgorithmXpressHuff, 65536, 0)), "");
  EXPECT_TRUE(std::filesystem::exists(target_));
  EXPECT_EQ(ReadTestFile(target_), "");
}

TEST_F(OrvzTest, HeaderChecks) {
  std::string error;
  EXPECT_FALSE(DecompressOrvzFile(dir_ / "nao-existe.orvz", target_, std::nullopt, nullptr, error));
  EXPECT_EQ(error, "nao abriu o arquivo comprimido");

  const std::string good = OrvzHeader(kAlgorithmXpressHuff, 16, 0);
  for (std::size_t cut : {0, 3, 4, 11, 12, 16, 23}) {
    EXPECT_EQ(Decode(good.substr(0, cut)), "arquivo comprimido invalido") << cut;
  }
  EXPECT_EQ(Decode(OrvzHeader(kAlgorithmXpressHuff, 16, 0, 1, "ORVB")), "arquivo comprimido invalido");
  EXPECT_EQ(Decode(OrvzHeader(kAlgorithmXpressHuff, 16, 0, 2)), "arquivo comprimido invalido");
  EXPECT_EQ(Decode(OrvzHeader(kAlgorithmXpressHuff, 0, 0)), "arquivo comprimido invalido");
  EXPECT_EQ(Decode(OrvzHeader(kAlgorithmXpressHuff, 0x10000001, 0)), "arquivo comprimido invalido");
  // The largest chunk size is fine (the output buffer is never bigger than the file).
  const std::string ten = "0123456789";
  EXPECT_EQ(Decode(OrvzHeader(kAlgorithmXpressHuff, 0x10000000, 10) + OrvzChunk(Container(kAlgorithmXpressHuff, ten))),
            "");
  EXPECT_EQ(ReadTestFile(target_), ten);
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
  std::string error;
  EXPECT_FALSE(DecompressOrvzFile(source_, dir_ / "sem-pasta" / "x.bin", std::nullopt, nullptr, error));
  EXPECT_EQ(error, "nao criou o arquivo de saida");
}

TEST_F(OrvzTest, CancelIsSeenBeforeEachChunk) {
  const std::string file = OrvzHeader(kAlgorithmXpressHuff, 4, 8) + OrvzChunk(Container(kAlgorithmXpressHuff, "abcd")) +
                           OrvzChunk(Container(kAlgorithmXpressHuff, "efgh"));
  CancelFlag cancel{1};
  EXPECT_EQ(Decode(file, &cancel), "cancelado");
  EXPECT_EQ(ReadTestFile(target_), "");
  cancel = 0;
  EXPECT_EQ(Decode(file, &cancel), "");
  EXPECT_EQ(ReadTestFile(target_), "abcdefgh");
}

TEST_F(OrvzTest, ChunkLengthLimits) {
  // Chunk size 16: the limit is 16 + 8 + 65536. Bytes after a container are not the decoder's
  // concern, so a padded container of exactly the limit decodes.
  const std::uint32_t limit = 16 + 8 + 65536;
  std::string packed = Container(kAlgorithmXpressHuff, "sixteen bytes!!!");
  packed.resize(limit, '\0');
  EXPECT_EQ(Decode(OrvzHeader(kAlgorithmXpressHuff, 16, 16) + OrvzChunk(packed)), "");
  EXPECT_EQ(ReadTestFile(target_), "sixteen bytes!!!");
  packed.push_back('\0');
  EXPECT_EQ(Decode(OrvzHeader(kAlgorithmXpressHuff, 16, 16) + OrvzChunk(packed)), "bloco invalido");
  EXPECT_EQ(Decode(OrvzHeader(kAlgorithmXpressHuff, 16, 16) + OrvzChunk("")), "bloco invalido");
}

TEST_F(OrvzTest, TruncatedFiles) {
  const std::string first = OrvzChunk(Container(kAlgorithmXpressHuff, "abcd"));
  const std::string second = OrvzChunk(Container(kAlgorithmXpressHuff, "efgh"));
  const std::string whole = OrvzHeader(kAlgorithmXpressHuff, 4, 8) + first + second;
  // Cut inside the second chunk's data, right after the first chunk, inside a length.
  EXPECT_EQ(Decode(whole.substr(0, whole.size() - 1)), "arquivo comprimido truncado");
  EXPECT_EQ(Decode(whole.substr(0, 24 + first.size() + 5)), "arquivo comprimido truncado");
  EXPECT_EQ(Decode(whole.substr(0, 24 + first.size())), "bloco invalido");
  EXPECT_EQ(Decode(whole.substr(0, 24 + first.size() + 2)), "bloco invalido");
  EXPECT_EQ(ReadTestFile(target_), "abcd") << "the decoded part stays for the caller";
  // Bytes after the last chunk are ignored.
  EXPECT_EQ(Decode(whole + "lixo no fim"), "");
}

TEST_F(OrvzTest, ChunksThatDecodeWrongAreCorrupt) {
  // Raw size 10, chunk size 4: the last chunk must give 2 bytes, not a full chunk.
  const std::string head = OrvzHeader(kAlgorithmXpressHuff, 4, 10);
  const std::string c4 = OrvzChunk(Container(kAlgorithmXpressHuff, "abcd"));
  EXPECT_EQ(Decode(head + c4 + c4 + OrvzChunk(Container(kAlgorithmXpressHuff, "ij"))), "");
  EXPECT_EQ(ReadTestFile(target_), "abcdabcdij");
  EXPECT_EQ(Decode(head + c4 + c4 + c4), "bloco corrompido");
  // A short chunk in the middle, a container of another algorithm, damaged bytes.
  EXPECT_EQ(Decode(head + OrvzChunk(Container(kAlgorithmXpressHuff, "abc")) + c4 + c4), "bloco corrompido");
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
  std::string bomb = OrvzHeader(kAlgorithmXpressHuff, 65536, 1ull << 40);
  for (int i = 0; i < 200; ++i) bomb += OrvzChunk(Container(kAlgorithmXpressHuff, zeros));
  ASSERT_LT(bomb.size(), 200u * 1024);
  EXPECT_EQ(Decode(bomb, nullptr, 3 * 65536), "arquivo comprimido invalido");
  EXPECT_FALSE(std::filesystem::exists(target_));
  EXPECT_EQ(Decode(bomb, nullptr, std::nullopt), "bloco invalido");
  EXPECT_EQ(std::filesystem::file_size(target_), 200u * 65536);
  std::filesystem::remove(target_);

  // A header claiming less than expected is refused too; the right size decodes.
  const std::string chunk = OrvzChunk(Container(kAlgorithmXpressHuff, zeros));
  const std::string three = OrvzHeader(kAlgorithmXpressHuff, 65536, 3 * 65536) + chunk + chunk + chunk;
  EXPECT_EQ(Decode(three, nullptr, 3 * 65536 + 1), "arquivo comprimido invalido");
  EXPECT_FALSE(std::filesystem::exists(target_));
  EXPECT_EQ(Decode(three, nullptr, 3 * 65536), "");
  EXPECT_TRUE(ReadTestFile(target_) == zeros + zeros + zeros);
  EXPECT_EQ(Decode(OrvzHeader(kAlgorithmXpressHuff, 65536, 0), nullptr, 0), "");

  // A chunk length the file cannot hold is a truncated file, whatever the header allows.
  std::string claim = OrvzHeader(kAlgorithmXpressHuff, kOrvzMaxChunkSize, kOrvzMaxChunkSize);
  PutLe32(claim, 300000000);
  EXPECT_EQ(Decode(claim + zeros, nullptr, kOrvzMaxChunkSize), "arquivo comprimido truncado");
}

TEST_F(OrvzTest, FailedWritesAreReported) {
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "needs /dev/full";
  WriteTestFile(source_, OrvzHeader(kAlgorithmXpressHuff, 4, 4) + OrvzChunk(Container(kAlgorithmXpressHuff, "abcd")));
  std::string error;
  EXPECT_FALSE(DecompressOrvzFile(source_, "/dev/full", std::nullopt, nullptr, error));
  EXPECT_EQ(error, "falha ao gravar (disco cheio?)");
}

}  // namespace

}  // namespace orv
