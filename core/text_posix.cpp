#include "core/text.h"

#include <cstdint>

#include "core/utf8.h"

namespace orv {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

// Decodes one UTF-8 sequence at `i`, advancing it; malformed input yields U+FFFD for the bad byte.
char32_t DecodeOne(std::string_view s, size_t& i) {
  const auto lead = static_cast<unsigned char>(s[i++]);
  if (lead < 0x80) return lead;
  int extra;
  char32_t cp;
  if (lead >= 0xC2 && lead <= 0xDF) {
    extra = 1;
    cp = lead & 0x1F;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    extra = 2;
    cp = lead & 0x0F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    extra = 3;
    cp = lead & 0x07;
  } else {
    return kReplacement;
  }
  const size_t start = i;
  for (int k = 0; k < extra; ++k) {
    if (i >= s.size() || (static_cast<unsigned char>(s[i]) & 0xC0) != 0x80) {
      i = start;
      return kReplacement;
    }
    cp = (cp << 6) | (static_cast<unsigned char>(s[i++]) & 0x3F);
  }
  const bool overlong = (extra == 2 && cp < 0x800) || (extra == 3 && cp < 0x10000);
  if (overlong || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
    i = start;
    return kReplacement;
  }
  return cp;
}

void EncodeOne(std::string& out, char32_t cp) {
  if (cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) cp = kReplacement;
  AppendUtf8(out, cp);
}

}  // namespace

std::wstring Utf8ToWide(std::string_view utf8) {
  std::wstring wide;
  wide.reserve(utf8.size());
  for (size_t i = 0; i < utf8.size();) wide.push_back(static_cast<wchar_t>(DecodeOne(utf8, i)));
  return wide;
}

std::string WideToUtf8(std::wstring_view wide) {
  std::string utf8;
  utf8.reserve(wide.size());
  for (const wchar_t ch : wide) EncodeOne(utf8, static_cast<char32_t>(ch));
  return utf8;
}

}  // namespace orv
