#include "game/ini_text.h"

#include <cstddef>
#include <vector>

namespace orv {

namespace {

struct Line {
  std::size_t begin = 0;    // first byte of the line
  std::size_t content = 0;  // end of the text, before "\r\n" or "\n"
  std::size_t end = 0;      // after the line break (or the end of the text)
};

std::vector<Line> SplitLines(std::string_view text) {
  std::vector<Line> lines;
  std::size_t begin = 0;
  while (begin < text.size()) {
    const std::size_t newline = text.find('\n', begin);
    Line line{begin, newline == std::string_view::npos ? text.size() : newline, 0};
    line.end = newline == std::string_view::npos ? text.size() : newline + 1;
    if (line.content > begin && text[line.content - 1] == '\r') --line.content;
    lines.push_back(line);
    begin = line.end;
  }
  return lines;
}

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

std::string_view Trim(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

char Lower(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

bool SameName(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (Lower(a[i]) != Lower(b[i])) return false;
  }
  return true;
}

// The section a header line opens, or nullopt for any other line.
std::optional<std::string_view> SectionName(std::string_view line) {
  line = Trim(line);
  if (line.empty() || line.front() != '[') return std::nullopt;
  const std::size_t close = line.find(']');
  if (close == std::string_view::npos) return std::nullopt;
  return Trim(line.substr(1, close - 1));
}

// The key name of a "name=value" line (trimmed), or nullopt for a line without "=".
std::optional<std::string_view> KeyName(std::string_view line) {
  const std::size_t equals = line.find('=');
  if (equals == std::string_view::npos) return std::nullopt;
  return Trim(line.substr(0, equals));
}

std::string_view Content(std::string_view text, const Line& line) {
  return text.substr(line.begin, line.content - line.begin);
}

// Where [section] key stands: the header line and the key line, either may be missing.
struct Position {
  std::optional<std::size_t> header;
  std::optional<std::size_t> key;
  std::size_t last_filled = 0;  // the section's last non-blank line (the header at least)
};

Position Locate(std::string_view text, const std::vector<Line>& lines, std::string_view section, std::string_view key) {
  Position at;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const std::string_view content = Content(text, lines[i]);
    if (const auto name = SectionName(content)) {
      if (at.header) break;
      if (SameName(*name, section)) at.header = at.last_filled = i;
      continue;
    }
    if (!at.header) continue;
    if (!Trim(content).empty()) at.last_filled = i;
    const auto name = KeyName(content);
    if (!at.key && name && SameName(*name, key)) at.key = i;
  }
  return at;
}

// A value written in matching quotes reads without them.
std::string_view Unquote(std::string_view value) {
  if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front()) {
    return value.substr(1, value.size() - 2);
  }
  return value;
}

}  // namespace

std::optional<std::string> IniLookup(std::string_view text, std::string_view section, std::string_view key) {
  const std::vector<Line> lines = SplitLines(text);
  const Position at = Locate(text, lines, section, key);
  if (!at.key) return std::nullopt;
  const std::string_view content = Content(text, lines[*at.key]);
  return std::string(Unquote(Trim(content.substr(content.find('=') + 1))));
}

std::string IniAssign(std::string_view text, std::string_view section, std::string_view key, std::string_view value) {
  const std::vector<Line> lines = SplitLines(text);
  const Position at = Locate(text, lines, section, key);
  std::string result;
  if (at.key) {
    const Line& line = lines[*at.key];
    const std::string_view content = Content(text, line);
    const std::string_view name = *KeyName(content);
    result.append(text.substr(0, line.begin));
    result.append(name).append("=").append(value);
    result.append(text.substr(line.content));
    return result;
  }
  if (at.header) {
    const Line& after = lines[at.last_filled];
    result.append(text.substr(0, after.end));
    if (after.end == after.content) result.append("\r\n");
    result.append(key).append("=").append(value).append("\r\n");
    result.append(text.substr(after.end));
    return result;
  }
  result.append(text);
  if (!result.empty() && result.back() != '\n') result.append("\r\n");
  result.append("[").append(section).append("]\r\n");
  result.append(key).append("=").append(value).append("\r\n");
  return result;
}

}  // namespace orv
