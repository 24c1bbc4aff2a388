#pragma once

#include <string_view>

namespace orv {

// Dot-separated decimal versions, part by part (a missing part reads as 0): -1, 0 or 1.
// "1.2" equals "1.2.0"; "1.10" is greater than "1.9".
[[nodiscard]] int CompareVersions(std::string_view a, std::string_view b);

}  // namespace orv
