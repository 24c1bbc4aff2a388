#include "game/profile.h"

#include <windows.h>

#include <vector>

#include "core/text.h"

namespace orv {

std::string ReadIniValue(const std::filesystem::path& file, std::string_view section, std::string_view key,
                         std::string_view fallback, std::size_t capacity) {
  if (capacity == 0) return {};
  // An empty name would make the profile functions use a file in the Windows folder.
  if (file.empty()) return std::string(fallback).substr(0, capacity - 1);
  std::vector<wchar_t> buffer(capacity, L'\0');
  const std::wstring wide_section = Utf8ToWide(section);
  const std::wstring wide_key = Utf8ToWide(key);
  const std::wstring wide_fallback = Utf8ToWide(fallback);
  const DWORD length = GetPrivateProfileStringW(wide_section.c_str(), wide_key.c_str(), wide_fallback.c_str(),
                                                buffer.data(), static_cast<DWORD>(capacity), file.c_str());
  return WideToUtf8(std::wstring_view(buffer.data(), length));
}

bool WriteIniValue(const std::filesystem::path& file, std::string_view section, std::string_view key,
                   std::string_view value) {
  if (file.empty()) return false;
  const std::wstring wide_section = Utf8ToWide(section);
  const std::wstring wide_key = Utf8ToWide(key);
  const std::wstring wide_value = Utf8ToWide(value);
  return WritePrivateProfileStringW(wide_section.c_str(), wide_key.c_str(), wide_value.c_str(), file.c_str()) != 0;
}

}  // namespace orv
