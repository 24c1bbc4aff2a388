// Decoder of one XPRESS_HUFF (LZ77+Huffman) stream, the payload of one buffer-mode chunk.
//
// Layout: per 65,536 output bytes a 256-byte table of 512 four-bit code lengths (low nibble = even
// symbol), then a bit stream of 16-bit little-endian words read most significant bit first. A match
// may run past the 64 KiB mark; the next table then starts where the reader stands and covers the
// next 65,536 bytes from the match's end. Decoding stops on the output count (symbol 256 is both
// the end marker and an ordinary match).
#pragma once

#include <cstddef>
#include <cstdint>

namespace orv {

// Decodes `in` into exactly `out_size` bytes at `out`. Matches may only reach back to `out`.
// False on any malformed input; never reads outside `in` or writes outside `out`.
[[nodiscard]] bool DecodeXpressHuffStream(const std::uint8_t* in, std::size_t in_size, std::uint8_t* out,
                                          std::size_t out_size);

}  // namespace orv
