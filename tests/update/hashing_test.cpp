#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/temp_dir.h"
#include "update/sha256.h"

namespace orv {

namespace {

constexpr std::size_t kChunk = 4u << 20;
constexpr char kEmptyDigest[] =
    "e3b0c44298fc1c149afbf4c8996fb924"
    "27ae41e4649b934ca495991b7852b855";
constexpr char kAbcDigest[] =
    "ba7816bf8f01cfea414140de5dae2223"
    "b00361a396177a9cb410ff61f20015ad";

// Bytes that differ from one 4 KiB stretch to the next, so a misplaced chunk changes the digest.
std::string Pattern(std::size_t size) {
  std::string bytes(size, '\0');
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>((i * 31 + (i >> 12)) & 0xFF);
  return bytes;
}

struct ChunkLog {
  std::vector<std::uint64_t> chunks;
  ProgressCallback Callback() {
    return [this](std::uint64_t n) { chunks.push_back(n); };
  }
};

TEST(Sha256OfFile, KnownDigests) {
  TempDir dir;
  WriteTestFile(dir / "vazio", "");
  WriteTestFile(dir / "abc", "abc");
  WriteTestFile(dir / "milhao", std::string(1000000, 'a'));
  // The digest of empty input, not the empty "no digest" text.
  EXPECT_EQ(Sha256OfFile(dir / "vazio", {}, nullptr), kEmptyDigest);
  EXPECT_EQ(Sha256OfFile(dir / "abc", {}, nullptr), kAbcDigest);
  EXPECT_EQ(Sha256OfFile(dir / "milhao", {}, nullptr),
            "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
  EXPECT_EQ(Sha256OfFile(dir / "nao-existe", {}, nullptr), "");
  EXPECT_EQ(Sha256OfFile(dir.path(), {}, nullptr), "");  // a folder
}

TEST(Sha256OfFile, ReadsInChunksAndReportsEachOne) {
  TempDir dir;
  WriteTestFile(dir / "longo", Pattern(2 * kChunk + 5));
  WriteTestFile(dir / "exato", Pattern(2 * kChunk));
  ChunkLog longer, exact;
  EXPECT_EQ(Sha256OfFile(dir / "longo", longer.Callback(), nullptr),
            "b92a5c8340dc79aefe37f91cb78b3451eb772da2b6245315991c431c05e357e7");
  EXPECT_EQ(longer.chunks, (std::vector<std::uint64_t>{kChunk, kChunk, 5}));
  // An exact multiple ends on a read of 0 bytes, which is not reported.
  EXPECT_EQ(Sha256OfFile(dir / "exato", exact.Callback(), nullptr),
            "09b3fb69d7b1a3ac9564917ff2b6d626da2f0b7acaa77cbbf31ac3b5ab06233d");
  EXPECT_EQ(exact.chunks, (std::vector<std::uint64_t>{kChunk, kChunk}));
}

TEST(Sha256OfFile, CancelGivesNoDigest) {
  TempDir dir;
  WriteTestFile(dir / "longo", Pattern(2 * kChunk + 5));
  CancelFlag cancel{1};
  EXPECT_EQ(Sha256OfFile(dir / "longo", {}, &cancel), "");
  // Raised while the first chunk is reported: the next chunk is not hashed.
  cancel = 0;
  int calls = 0;
  EXPECT_EQ(Sha256OfFile(
                dir / "longo", [&](std::uint64_t) { ++calls, cancel = 1; }, &cancel),
            "");
  EXPECT_EQ(calls, 1);
}

TEST(Sha256OfBuffer, IsTheFirstHalfOfTheDigest) {
  EXPECT_EQ(Sha256OfBuffer("abc", 3), std::string(kAbcDigest, 32));
  EXPECT_EQ(Sha256OfBuffer("", 0), std::string(kEmptyDigest, 32));
}

TEST(Sha256OfBlocks, OneDigestPerBlockTheLastOneShort) {
  TempDir dir;
  constexpr std::uint32_t kBlock = 4096;
  const std::string exact = Pattern(3 * kBlock);
  const std::string longer = Pattern(3 * kBlock + 1);
  WriteTestFile(dir / "exato", exact);
  WriteTestFile(dir / "longo", longer);
  WriteTestFile(dir / "abc", "abc");
  WriteTestFile(dir / "vazio", "");

  std::string expected;
  for (int i = 0; i < 3; ++i) expected += Sha256OfBuffer(exact.data() + i * kBlock, kBlock);
  EXPECT_EQ(Sha256OfBlocks(dir / "exato", kBlock, nullptr), expected);  // 3 digests, no empty fourth
  EXPECT_EQ(Sha256OfBlocks(dir / "longo", kBlock, nullptr), expected + Sha256OfBuffer(longer.data() + 3 * kBlock, 1));
  EXPECT_EQ(Sha256OfBlocks(dir / "abc", kBlock, nullptr), std::string(kAbcDigest, 32));
  EXPECT_EQ(Sha256OfBlocks(dir / "vazio", kBlock, nullptr), "");
  EXPECT_EQ(Sha256OfBlocks(dir / "exato", 0, nullptr), "");
  EXPECT_EQ(Sha256OfBlocks(dir / "nao-existe", kBlock, nullptr), "");
  CancelFlag cancel{1};
  EXPECT_EQ(Sha256OfBlocks(dir / "exato", kBlock, &cancel), "");
}

}  // namespace

}  // namespace orv
