#include "support/test_channel.h"

#include <gtest/gtest.h>

#include "core/file_util.h"
#include "core/paths.h"
#include "formats/pack_writer.h"
#include "support/temp_dir.h"
#include "update/sha256.h"

namespace orv {

ManifestEntry TestChannel::Serve(const std::string& caminho, std::string_view bytes, Variant variant,
                                 std::uint32_t unit) const {
  const std::filesystem::path served = JoinRelative(folder_, caminho);
  WriteTestFile(served, bytes);
  ManifestEntry entry;
  entry.caminho = caminho;
  entry.sha256 = Sha256OfFile(served, {}, nullptr);
  entry.tamanho = bytes.size();
  const PackParameters parameters{.chunk_size = unit};
  std::string error;
  if (variant == Variant::kOrvz) {
    const std::filesystem::path packed = WithSuffix(served, ".orvz");
    EXPECT_TRUE(WriteOrvzFile(served, packed, parameters, nullptr, error)) << caminho << ": " << error;
    entry.zTamanho = static_cast<std::uint64_t>(FileSizeOf(packed));
  } else if (variant == Variant::kOrvb) {
    const std::filesystem::path packed = WithSuffix(served, ".orvb");
    EXPECT_TRUE(WriteOrvbFile(served, packed, parameters, nullptr, error)) << caminho << ": " << error;
    entry.bloco = unit;
    entry.blocos = Sha256OfBlocks(served, unit, nullptr);
    entry.bTamanho = static_cast<std::uint64_t>(FileSizeOf(packed));
  }
  return entry;
}

void TestChannel::Write() const { WriteTestFile(folder_ / "manifest.json", ManifestText(manifest)); }

}  // namespace orv
