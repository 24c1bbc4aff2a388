// Encoder of one XPRESS_HUFF (LZ77+Huffman) stream, the payload of one buffer-mode chunk. Its
// output follows the layout the Compression API's decoder reads: per 64 KiB of input one table of
// 512 four-bit lengths of a complete canonical code (at most 15 bits), matches that never cross a
// 64 KiB mark (so every table covers exactly 65,536 bytes), and the end symbol 256 after the last one.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orv {

struct XpressHuffEncoderOptions {
  unsigned max_chain = 24;     // match candidates tried per position
  unsigned nice_length = 128;  // a match this long is taken at once
  bool lazy = true;            // try the next position before taking a match
};

// Options for levels 1 (fastest) to 9 (smallest output).
[[nodiscard]] XpressHuffEncoderOptions XpressHuffOptionsForLevel(int level);

// Encodes `size` bytes (1 or more) into `out`. Returns the encoded size, or 0 when it would not fit
// in `capacity` bytes (callers pass the raw size to learn whether compressing pays).
[[nodiscard]] std::size_t EncodeXpressHuffStream(const std::uint8_t* in, std::size_t size, std::uint8_t* out,
                                                 std::size_t capacity, const XpressHuffEncoderOptions& options);

}  // namespace orv
