// The fixture of the .orvz and .orvb file tests: a temporary folder, a source and a target in it,
// and the format's writer and whole-file reader behind two calls that give back the error text.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "core/callbacks.h"
#include "formats/pack_writer.h"
#include "support/temp_dir.h"

namespace orv {

using DecompressFileFunction = bool (*)(const std::filesystem::path&, const std::filesystem::path&,
                                        std::optional<std::uint64_t>, const CancelFlag*, std::string&);
using PackFileFunction = bool (*)(const std::filesystem::path&, const std::filesystem::path&, const PackParameters&,
                                  const CancelFlag*, std::string&);

template <DecompressFileFunction kDecompress, PackFileFunction kPack>
class PackedFileTest : public testing::Test {
 protected:
  // Writes `bytes` as the source and decodes it into the target; "" on success.
  std::string Decode(const std::string& bytes, const CancelFlag* cancel = nullptr,
                     std::optional<std::uint64_t> expected = std::nullopt) {
    WriteTestFile(source_, bytes);
    return DecodeFile(source_, target_, cancel, expected);
  }

  std::string DecodeFile(const std::filesystem::path& source, const std::filesystem::path& target,
                         const CancelFlag* cancel = nullptr, std::optional<std::uint64_t> expected = std::nullopt) {
    std::string error;
    if (kDecompress(source, target, expected, cancel, error)) return "";
    EXPECT_FALSE(error.empty());
    return error;
  }

  // Packs `raw` as the publisher does into the source; "" on success.
  std::string Pack(const std::string& raw, const PackParameters& parameters) {
    const auto path = dir_ / "origem.bin";
    WriteTestFile(path, raw);
    std::string error;
    return kPack(path, source_, parameters, nullptr, error) ? "" : error;
  }

  TempDir dir_;
  std::filesystem::path source_ = dir_ / "jogo.pak.pacote";
  std::filesystem::path target_ = dir_ / "jogo.pak";
};

}  // namespace orv
