// Test content that differs at every offset, so a slice taken from the wrong place or a chunk
// written twice never passes for the right bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace orv {

// Incompressible xorshift32 bytes; different seeds give different content.
inline std::string NoiseBytes(std::size_t size, std::uint32_t seed = 2463534242u) {
  std::string bytes(size, '\0');
  std::uint32_t x = seed;
  for (auto& b : bytes) {
    x ^= x << 13, x ^= x >> 17, x ^= x << 5;
    b = static_cast<char>(x >> 24);
  }
  return bytes;
}

// Unique per offset yet compressible (16 letters), so the encoders have something to do.
inline std::string CompressibleBytes(std::size_t size, std::uint32_t seed) {
  std::string bytes(size, '\0');
  std::uint32_t x = seed * 2654435761u + 1;
  for (char& b : bytes) {
    x ^= x << 13, x ^= x >> 17, x ^= x << 5;
    b = static_cast<char>('a' + (x >> 28));
  }
  return bytes;
}

}  // namespace orv
