// Writers of buffer-mode containers as the Compression API's Compress makes them, for the
// publisher: MSZIP in 32 KiB chunks (each with the previous chunk as dictionary) and XPRESS_HUFF in
// 64 MiB chunks. A chunk that would not come out smaller than its raw bytes is stored raw.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace orv {

struct EncodeOptions {
  int level = 6;  // 1 (fastest) to 9 (smallest)
};

// True for the algorithms we can write (MSZIP and XPRESS_HUFF).
[[nodiscard]] bool BuiltinEncoderSupports(std::uint32_t algorithm);

// Replaces `out` with the container of `size` bytes at `in`. False for another algorithm or when
// memory runs out.
[[nodiscard]] bool EncodeBufferMode(std::uint32_t algorithm, const void* in, std::size_t size,
                                    std::vector<std::uint8_t>& out, const EncodeOptions& options);

}  // namespace orv
