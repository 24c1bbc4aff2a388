#include "update/version_compare.h"

#include <cstdint>
#include <cstdlib>
#include <string>

namespace orv {

namespace {

// strtoll at `pos` (leading blanks and a sign accepted, no digits gives 0); an exhausted string is 0.
std::int64_t NumberAt(const std::string& text, std::size_t pos) {
  if (pos >= text.size()) return 0;
  return std::strtoll(text.c_str() + pos, nullptr, 10);
}

// Just past the next '.' at or after `pos`, or the end.
std::size_t NextPart(const std::string& text, std::size_t pos) {
  const std::size_t dot = text.find('.', pos);
  return dot == std::string::npos ? text.size() : dot + 1;
}

}  // namespace

int CompareVersions(std::string_view a, std::string_view b) {
  // strtoll needs terminated text.
  const std::string left(a), right(b);
  std::size_t i = 0, j = 0;
  while (i < left.size() || j < right.size()) {
    const std::int64_t x = NumberAt(left, i), y = NumberAt(right, j);
    if (x != y) return x < y ? -1 : 1;
    i = NextPart(left, i);
    j = NextPart(right, j);
  }
  return 0;
}

}  // namespace orv
