#include "game/profile.h"

#include "core/file_util.h"
#include "game/ini_text.h"

namespace orv {

namespace {

// Cuts after `count` characters (code points), as a buffer of wide characters would.
void KeepCharacters(std::string& text, std::size_t count) {
  std::size_t seen = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool starts_character = (static_cast<unsigned char>(text[i]) & 0xC0) != 0x80;
    if (starts_character && seen++ == count) {
      text.resize(i);
      return;
    }
  }
}

}  // namespace

std::string ReadIniValue(const std::filesystem::path& file, std::string_view section, std::string_view key,
                         std::string_view fallback, std::size_t capacity) {
  std::string text;
  std::string value(fallback);
  if (ReadWholeFile(file, text)) {
    if (auto found = IniLookup(text, section, key)) value = std::move(*found);
  }
  if (capacity == 0) return {};
  KeepCharacters(value, capacity - 1);
  return value;
}

bool WriteIniValue(const std::filesystem::path& file, std::string_view section, std::string_view key,
                   std::string_view value) {
  std::string text;
  if (PathExists(file) && !ReadWholeFile(file, text)) return false;
  return WriteWholeFile(file, IniAssign(text, section, key, value));
}

}  // namespace orv
