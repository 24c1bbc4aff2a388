// The work files a transfer keeps beside a file's staged path (<game>/.atualizando/<caminho>) until
// the verified result takes that path. Whole downloads resume from them; what a crash leaves of them
// after the result is in place is deleted before the staged file is installed.
#pragma once

#include <array>
#include <string_view>

namespace orv {

inline constexpr std::string_view kPartialSuffix = ".part";           // a whole file being downloaded
inline constexpr std::string_view kOrvzPartialSuffix = ".orvz.part";  // its .orvz being downloaded
inline constexpr std::string_view kUnpackedSuffix = ".descomp";       // the .orvz being unpacked
inline constexpr std::string_view kAssembledSuffix = ".bloco";        // a file being put together block by block
inline constexpr std::string_view kOrvbPartialSuffix = ".orvb.part";  // its whole .orvb being downloaded

inline constexpr std::array<std::string_view, 5> kWorkFileSuffixes = {
    kPartialSuffix, kOrvzPartialSuffix, kUnpackedSuffix, kAssembledSuffix, kOrvbPartialSuffix};

}  // namespace orv
