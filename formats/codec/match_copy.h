// The LZ77 copy shared by the XPRESS decoders: fast word copies while there is room behind the
// match inside the output, a byte loop near the end and for short overlapping distances.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

// Copies `length` bytes from `distance` back to `out`. The caller has checked
// distance <= bytes already written and out + length <= end.
inline void CopyMatch(std::uint8_t* out, std::size_t distance, std::size_t length, std::uint8_t* end) {
  const std::uint8_t* src = out - distance;
  const auto room = static_cast<std::size_t>(end - out);
  if (room - length >= 16) {
    std::uint8_t* const stop = out + length;
    if (distance >= 16) {
      // May write up to 15 bytes past the match, inside the output; later data overwrites them.
      do {
        std::memcpy(out, src, 16);
        out += 16;
        src += 16;
      } while (out < stop);
      return;
    }
    if (distance >= 8) {
      do {
        std::memcpy(out, src, 8);
        out += 8;
        src += 8;
      } while (out < stop);
      return;
    }
    if (distance == 1) {
      std::memset(out, *src, length);
      return;
    }
  }
  for (std::size_t i = 0; i < length; ++i) out[i] = src[i];
}
