// The LZ77 copy shared by the XPRESS decoders: 8- or 16-byte moves while there is room for them
// inside the output (they may write a few bytes past the match; later data overwrites them), a byte
// loop for the last few bytes before the end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace orv {

// Copies `length` bytes from `distance` back to `out`. The caller has checked
// distance <= bytes already written and out + length <= end.
inline __attribute__((always_inline)) void CopyMatch(std::uint8_t* out, std::size_t distance, std::size_t length,
                                                     std::uint8_t* end) {
  const auto room = static_cast<std::size_t>(end - out);
  if (distance == 1) {
    std::memset(out, out[-1], length);
    return;
  }
  std::size_t i = 0;
  if (distance < 8) {
    // The bytes repeat with period `distance`, so they also repeat with a multiple of it that is at
    // least 8; extend the pattern byte by byte until that multiple can be copied from.
    std::size_t period = distance;
    while (period < 8) period += distance;
    for (; i < period - distance && i < length; ++i) out[i] = out[i - distance];
    distance = period;
  }
  const std::size_t step = distance >= 16 ? 16 : 8;
  if (room >= step) {
    const std::size_t last_start = room - step;
    for (; i < length && i <= last_start; i += step) std::memcpy(out + i, out + i - distance, step);
  }
  for (; i < length; ++i) out[i] = out[i - distance];
}

}  // namespace orv
