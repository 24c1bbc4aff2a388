// A release channel for the run tests, laid out as the publisher lays one out: every file under its
// "caminho" in a served folder, the chosen variant beside it, and manifest.json written by the same
// writer the publisher uses. Entries the publisher would never write (wrong digests, hostile names)
// are added to `manifest.arquivos` by hand before Write.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>

#include "update/manifest.h"

namespace orv {

class TestChannel {
 public:
  enum class Variant { kPlain, kOrvz, kOrvb };

  explicit TestChannel(std::filesystem::path folder) : folder_(std::move(folder)) {
    manifest.versao = "1.0";
    manifest.servidor = "1";
  }

  // Writes `bytes` under `caminho` and the chosen variant beside it (ORVZ chunks and ORVB blocks of
  // `unit` bytes), and returns the file's entry as the publisher would write it. Fails the test when
  // a variant cannot be written. The entry is not added to `manifest` (Add does both).
  [[nodiscard]] ManifestEntry Serve(const std::string& caminho, std::string_view bytes,
                                    Variant variant = Variant::kPlain, std::uint32_t unit = 16384) const;
  // Serve, with the entry added to the manifest.
  void Add(const std::string& caminho, std::string_view bytes, Variant variant = Variant::kPlain,
           std::uint32_t unit = 16384) {
    manifest.arquivos.push_back(Serve(caminho, bytes, variant, unit));
  }
  // Writes manifest.json from `manifest`.
  void Write() const;

  Manifest manifest;

 private:
  std::filesystem::path folder_;
};

// An entry for a file the channel does not serve: hostile names, wrong digests, the writer's own tests.
inline ManifestEntry UnservedEntry(const std::string& caminho, const std::string& sha256, std::uint64_t tamanho) {
  ManifestEntry entry;
  entry.caminho = caminho;
  entry.sha256 = sha256;
  entry.tamanho = tamanho;
  return entry;
}

}  // namespace orv
