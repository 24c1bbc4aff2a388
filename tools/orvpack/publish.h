// orvpack publicar: turns a game build folder into a channel folder that any static HTTP server can
// serve: manifest.json, every file under its own relative path, and the .orvz / .orvb variants where
// they pay. Outputs of an earlier publication that did not change are reused, not re-encoded.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

#include "core/callbacks.h"

namespace orv {

struct PublishOptions {
  std::filesystem::path build;
  std::filesystem::path channel;
  std::string versao;
  std::string servidor;
  std::string base;                    // optional download prefix written into the manifest
  std::uint32_t algorithm = 4;         // XPRESS_HUFF; 2 for MSZIP
  int level = 6;                       // encoder effort, 1 to 9
  std::uint64_t block_min = 4 << 20;   // files this large get a block variant
  std::uint32_t block_size = 0;        // 0: chosen by file size
  std::uint32_t chunk_size = 1 << 20;  // ORVZ chunk size
  std::filesystem::path launcher;      // optional new launcher executable
  std::string launcher_versao;
};

struct PublishSummary {
  std::uint64_t files = 0;
  std::uint64_t bytes = 0;
  std::uint64_t compressed = 0;       // files with a .orvz
  std::uint64_t blocked = 0;          // files with a .orvb
  std::uint64_t reused = 0;           // files whose outputs were kept from the previous publication
  std::uint64_t removed = 0;          // files of the previous publication no longer in the build
  std::uint64_t published_bytes = 0;  // what a first-time player downloads with the best variants
};

// Called with (bytes done, bytes in all, current "caminho") while files are processed.
using PublishProgress = std::function<void(std::uint64_t, std::uint64_t, const std::string&)>;

[[nodiscard]] bool PublishChannel(const PublishOptions& options, const PublishProgress& progress,
                                  const CancelFlag* cancel, PublishSummary& summary, std::string& error);

// The block size used for a file of `size` bytes when none is given: small enough that an edit costs
// little, large enough that the block list stays short (a 2 GiB file gets 2048 blocks).
[[nodiscard]] std::uint32_t DefaultBlockSize(std::uint64_t size);

}  // namespace orv
