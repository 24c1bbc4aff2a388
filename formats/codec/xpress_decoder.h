// Decoder of one plain XPRESS (LZ77) stream, the payload of one buffer-mode chunk: 32-bit flag
// words read most significant bit first (0 = literal byte, 1 = 16-bit match token), match lengths
// extended through a nibble shared by two matches, then a byte, a u16 and a u32.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orv {

// Decodes `in` into exactly `out_size` bytes at `out`; matches may only reach back to `out`.
// False on malformed input; never reads outside `in` or writes outside `out`.
[[nodiscard]] bool DecodeXpressStream(const std::uint8_t* in, std::size_t in_size, std::uint8_t* out,
                                      std::size_t out_size);

}  // namespace orv
