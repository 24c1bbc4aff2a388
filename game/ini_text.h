// The INI text rules behind the profile functions where Windows does not provide them, on whole
// file texts so they are tested without a file system.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace orv {

// The value of [section] key in `text`: names compared without regard to ASCII case, blanks around
// the name and the value dropped, the first matching key of the first matching section wins. Lines
// before the first section header belong to no section. nullopt when absent.
[[nodiscard]] std::optional<std::string> IniLookup(std::string_view text, std::string_view section,
                                                   std::string_view key);

// `text` with [section] key = value: the first matching key line is replaced by "key=value" (the name
// as it was written), a missing key is appended after the last non-blank line of its section, a
// missing section ("[section]" and the key) at the end of the text. Lines end in CRLF when written;
// every other byte is kept.
[[nodiscard]] std::string IniAssign(std::string_view text, std::string_view section, std::string_view key,
                                    std::string_view value);

}  // namespace orv
