// Whether the tests run under Wine, whose profile functions rewrite a whole INI file on every write
// (blank lines dropped, blanks around "=" and at line ends removed) where Windows edits one line.
#pragma once

namespace orv {

[[nodiscard]] bool RunningUnderWine();

}  // namespace orv
