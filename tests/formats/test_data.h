// Deterministic inputs for the codec and file-format tests.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace orv {

// Uniform random bytes (incompressible).
std::vector<std::uint8_t> RandomBytes(std::size_t size, std::uint32_t seed);
// Words of a small vocabulary with punctuation: compresses well, many short and mid matches.
std::vector<std::uint8_t> TextBytes(std::size_t size, std::uint32_t seed);
// Records of little-endian numbers with slowly changing fields and repeated stretches.
std::vector<std::uint8_t> BinaryBytes(std::size_t size, std::uint32_t seed);

}  // namespace orv
