// SHA-256 digests of files, buffers and file blocks (CNG on Windows, OpenSSL libcrypto elsewhere).
// Whole-file digests are 64 lowercase hex characters; block digests are the first 16 bytes of the
// block's SHA-256 as 32 lowercase hex characters. An empty result means no digest (open or hash
// failure, or cancellation; callers test the flag themselves to tell them apart).
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

#include "core/callbacks.h"

namespace orv {

[[nodiscard]] std::string Sha256OfFile(const std::filesystem::path& path, const ProgressCallback& progress,
                                       const CancelFlag* cancel);
// The block digest of a buffer: the hex of the first 16 bytes of its SHA-256 (32 characters), "" on a
// provider failure. Whole-file digests are the full 64 characters.
[[nodiscard]] std::string Sha256OfBuffer(const void* data, std::size_t size);
// The block digests of consecutive blocks, 32 characters each; the last block may be short; a block
// size of 0 gives "".
[[nodiscard]] std::string Sha256OfBlocks(const std::filesystem::path& path, std::uint32_t block_size,
                                         const CancelFlag* cancel);

}  // namespace orv
