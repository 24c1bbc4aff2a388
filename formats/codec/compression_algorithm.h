// Algorithm numbers of the Windows Compression API (COMPRESS_ALGORITHM_*), as stored in ORVZ/ORVB
// headers and in byte 7 of every buffer-mode container.
#pragma once

#include <cstdint>

namespace orv {

inline constexpr std::uint32_t kAlgorithmMszip = 2;
inline constexpr std::uint32_t kAlgorithmXpress = 3;
inline constexpr std::uint32_t kAlgorithmXpressHuff = 4;
inline constexpr std::uint32_t kAlgorithmLzms = 5;

}  // namespace orv
