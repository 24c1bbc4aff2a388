// Real outputs of the Windows Compression API (Compress, buffer mode) decode to their known content,
// through the Decompressor seam and through our container reader directly; damaged copies fail
// cleanly.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "core/json.h"
#include "formats/codec/buffer_decode.h"
#include "formats/codec/compression_algorithm.h"
#include "formats/codec/decompressor.h"
#include "support/temp_dir.h"
#include "update/sha256_digest.h"

namespace orv {

namespace {

std::string Vector(const std::string& relative) {
  return ReadTestFile(TestDataFolder() / "compressapi" / std::filesystem::path(relative));
}

std::uint32_t AlgorithmOf(const std::string& container) { return static_cast<std::uint8_t>(container[7]); }

// The platform's SHA-256 (CNG or OpenSSL), as 64 lowercase hex characters.
std::string Sha256Hex(const std::vector<std::uint8_t>& bytes) {
  Sha256Digest digest;
  Sha256Digest::Value value{};
  EXPECT_TRUE(digest.ok() && digest.Update(bytes.data(), bytes.size()) && digest.Finish(value));
  std::string hex;
  for (const std::uint8_t b : value) hex += {"0123456789abcdef"[b >> 4], "0123456789abcdef"[b & 15]};
  return hex;
}

bool DecodeWithSeam(const std::string& container, std::vector<std::uint8_t>& out, std::size_t capacity) {
  Decompressor decompressor;
  if (!decompressor.Create(AlgorithmOf(container))) return false;
  out.assign(capacity, 0);
  std::size_t decoded = 0;
  if (!decompressor.Decompress(container.data(), container.size(), out.data(), out.size(), &decoded)) return false;
  out.resize(decoded);
  return true;
}

// Our reader alone, whatever the seam chose on this platform; `decoded` as DecodeBufferMode sets it.
bool DecodeDirect(std::uint32_t algorithm, const std::string& container, std::vector<std::uint8_t>& out,
                  std::size_t& decoded) {
  decoded = 0;
  return DecodeBufferMode(algorithm, container.data(), container.size(), out.data(), out.size(), &decoded);
}

TEST(WindowsVectors, SmallOutputsDecodeToTheirContent) {
  for (const char* name : {"mszip", "xpress", "xpress_huff"}) {
    SCOPED_TRACE(name);
    const std::string container = Vector(std::string(name) + ".bin");
    const std::string expected = Vector(std::string(name) + ".out");
    ASSERT_FALSE(container.empty());
    std::vector<std::uint8_t> out;
    ASSERT_TRUE(DecodeWithSeam(container, out, expected.size()));
    EXPECT_EQ(std::string(out.begin(), out.end()), expected);

    std::vector<std::uint8_t> direct(expected.size());
    std::size_t decoded = 0;
    ASSERT_TRUE(DecodeDirect(AlgorithmOf(container), container, direct, decoded));
    EXPECT_EQ(std::string(direct.begin(), direct.end()), expected);
  }
}

// Sizes up to 320 MiB: 64 MiB XPRESS_HUFF chunks made of one giant match, raw-stored and compressed
// tail chunks.
TEST(WindowsVectors, FurtherOutputsMatchTheirPublishedDigests) {
  JsonValue expected;
  ASSERT_TRUE(ParseJson(Vector("more/expected.json"), expected));
  int checked = 0;
  for (const JsonMember& member : expected.members) {
    SCOPED_TRACE(member.key);
    const std::string container = Vector("more/" + member.key + ".bin");
    ASSERT_FALSE(container.empty());
    const auto algorithm = static_cast<std::uint32_t>(member.value.Find("algorithm").AsInt(0));
    const auto size = static_cast<std::size_t>(member.value.Find("size").AsInt(0));
    ASSERT_EQ(AlgorithmOf(container), algorithm);
    Decompressor decompressor;
    if (algorithm == kAlgorithmLzms && !SystemDecompressorInUse()) {
      EXPECT_FALSE(decompressor.Create(algorithm)) << "LZMS has no decoder of ours";
      continue;
    }
    std::vector<std::uint8_t> out;
    ASSERT_TRUE(DecodeWithSeam(container, out, size));
    ASSERT_EQ(out.size(), size);
    EXPECT_EQ(Sha256Hex(out), member.value.Find("sha256").AsString(""));
    ++checked;
  }
  EXPECT_GE(checked, 7);
}

TEST(WindowsVectors, CapacityBelowTheDecodedSizeFails) {
  const std::string container = Vector("xpress_huff.bin");
  std::vector<std::uint8_t> out(998);
  std::size_t decoded = 0;
  EXPECT_FALSE(DecodeDirect(kAlgorithmXpressHuff, container, out, decoded));
  EXPECT_EQ(decoded, 999u) << "the needed size is reported, as Decompress does";
  // A larger capacity is fine: the decoded size tells the caller what it got.
  out.resize(5000);
  ASSERT_TRUE(DecodeDirect(kAlgorithmXpressHuff, container, out, decoded));
  EXPECT_EQ(decoded, 999u);
}

// Every prefix and every single-byte change of each real output either fails or, when the change
// hit bytes the decoder never looks at, still yields exactly the right size; none crashes (the
// sanitizer build checks every access).
TEST(WindowsVectors, DamagedCopiesFailCleanly) {
  for (const char* name : {"mszip", "xpress", "xpress_huff"}) {
    SCOPED_TRACE(name);
    const std::string container = Vector(std::string(name) + ".bin");
    const std::uint32_t algorithm = AlgorithmOf(container);
    std::vector<std::uint8_t> out(999);
    std::size_t decoded = 0;
    for (std::size_t cut = 0; cut < container.size(); ++cut) {
      EXPECT_FALSE(DecodeDirect(algorithm, container.substr(0, cut), out, decoded)) << cut;
    }
    int header_rejections = 0;
    for (std::size_t at = 0; at < container.size(); ++at) {
      std::string damaged = container;
      damaged[at] = static_cast<char>(damaged[at] ^ 0x5A);
      const bool ok = DecodeDirect(algorithm, damaged, out, decoded);
      if (at < 24) header_rejections += ok ? 0 : 1;
      if (ok) {
        EXPECT_LE(decoded, out.size());
      }
    }
    EXPECT_EQ(header_rejections, 24) << "the CRC byte guards every header byte";
  }
}

TEST(WindowsVectors, AContainerOfAnotherAlgorithmIsRefused) {
  const std::string container = Vector("xpress.bin");
  std::vector<std::uint8_t> out(999);
  std::size_t decoded = 0;
  EXPECT_FALSE(DecodeDirect(kAlgorithmXpressHuff, container, out, decoded));
  EXPECT_FALSE(DecodeDirect(kAlgorithmLzms, container, out, decoded));
}

TEST(Decompressor, CreationRefusesAlgorithmsWithoutADecoder) {
  Decompressor decompressor;
  EXPECT_FALSE(decompressor.Create(9));
  EXPECT_FALSE(decompressor.Create(0));
  EXPECT_FALSE(decompressor.IsOpen());
  std::size_t decoded = 7;
  std::uint8_t byte = 0;
  EXPECT_FALSE(decompressor.Decompress(&byte, 1, &byte, 1, &decoded)) << "no decoding without Create";
  EXPECT_EQ(decoded, 0u);
  for (std::uint32_t algorithm : {kAlgorithmMszip, kAlgorithmXpress, kAlgorithmXpressHuff}) {
    EXPECT_TRUE(decompressor.Create(algorithm)) << algorithm;
  }
}

}  // namespace

}  // namespace orv
