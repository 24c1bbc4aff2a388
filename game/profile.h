// Key-by-key access to INI files with the observable rules of the Windows profile functions:
// section and key names match without regard to case, a key is rewritten in place, a missing key is
// appended to the end of its section, a missing section to the end of the file, and every other line
// stays byte for byte as it was. Windows uses GetPrivateProfileStringW / WritePrivateProfileStringW;
// elsewhere our own reader and writer (game/ini_text.h) do the same.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

namespace orv {

// The value of [section] key, or `fallback` when the file, the section or the key is missing. The
// result is cut to `capacity` - 1 characters (UTF-16 units on Windows, bytes elsewhere), as a
// buffer of `capacity` characters would hold it. Texts are UTF-8.
[[nodiscard]] std::string ReadIniValue(const std::filesystem::path& file, std::string_view section,
                                       std::string_view key, std::string_view fallback, std::size_t capacity);

// Sets [section] key = value, creating the file when it is missing (its folder must exist). False
// when the file could not be written. An empty `file` (no known folder) reads the fallback and
// writes nothing.
bool WriteIniValue(const std::filesystem::path& file, std::string_view section, std::string_view key,
                   std::string_view value);

}  // namespace orv
