// What a Decompressor delegates to: the system's decoder (cabinet.dll on Windows) or ours. Internal
// to the codec room; users hold a Decompressor.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace orv {

class DecompressorBackend {
 public:
  virtual ~DecompressorBackend() = default;
  // One buffer-mode container into `out`; see Decompressor::Decompress.
  [[nodiscard]] virtual bool Decompress(const void* in, std::size_t in_size, void* out, std::size_t capacity,
                                        std::size_t* decoded_size) = 0;
};

// Our own decoders; null for an algorithm they do not cover.
[[nodiscard]] std::unique_ptr<DecompressorBackend> CreateBuiltinBackend(std::uint32_t algorithm);
// The platform's choice (decompressor_win.cpp / decompressor_posix.cpp); null when it refuses.
[[nodiscard]] std::unique_ptr<DecompressorBackend> CreatePlatformBackend(std::uint32_t algorithm);

}  // namespace orv
