// The buffer-mode container that the Compression API's Compress writes (without COMPRESS_RAW) and
// Decompress reads: a 24-byte header, then chunks of "u32 compressed size + bytes".
//
//   0  4  magic 0A 51 E5 C0
//   4  2  header size (24)
//   6  1  low byte of the CRC-32 of header bytes 0..5 and 7..23
//   7  1  algorithm number
//   8  8  total decoded size
//  16  8  block size: every chunk decodes to min(block size, bytes still to come)
//
// A chunk whose compressed size equals its decoded size holds the raw bytes.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orv {

inline constexpr std::size_t kContainerHeaderSize = 24;
inline constexpr std::size_t kContainerChunkPrefix = 4;
// Chunk sizes the Compression API uses when it writes: MSZIP keeps deflate's 32 KiB window per chunk.
inline constexpr std::uint64_t kMszipContainerBlock = 32 * 1024;
inline constexpr std::uint64_t kXpressHuffContainerBlock = 64 * 1024 * 1024;

struct ContainerHeader {
  std::uint32_t algorithm = 0;
  std::uint64_t total_size = 0;
  std::uint64_t block_size = 0;
};

// Validates magic, header size and CRC byte. False when `size` is under 24 bytes or any of them is
// wrong, or when a non-empty payload declares a block size of 0.
[[nodiscard]] bool ParseContainerHeader(const std::uint8_t* in, std::size_t size, ContainerHeader& header);
// Writes the 24 header bytes, CRC byte included.
void WriteContainerHeader(std::uint8_t* out, const ContainerHeader& header);

}  // namespace orv
