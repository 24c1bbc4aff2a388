// UTF-8 <-> wide string conversion, as the Windows UTF-8 code page does it (invalid input is
// replaced silently, never rejected). On Linux wchar_t is UTF-32 and the same rules apply.
#pragma once

#include <string>
#include <string_view>

namespace orv {

[[nodiscard]] std::wstring Utf8ToWide(std::string_view utf8);
[[nodiscard]] std::string WideToUtf8(std::wstring_view wide);

}  // namespace orv
