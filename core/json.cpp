#include "core/json.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include "core/utf8.h"

namespace orv {

namespace {

// One pass over the text with a cursor; every step fails when input ends where more is needed.
class Parser {
 public:
  // `text` must be followed by a zero byte: numbers are read by strtod in place.
  Parser(const char* begin, const char* end) : pos_(begin), end_(end) {}

  bool ParseDocument(JsonValue& out) {
    if (!ParseTree(out)) return false;
    SkipBlanks();
    return pos_ == end_;
  }

 private:
  // An Object or Array whose closing bracket has not come yet, and the member name it will have in
  // its parent (empty in an Array).
  struct Open {
    JsonValue value;
    std::string key;
  };

  static bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

  void SkipBlanks() {
    while (pos_ < end_ && IsBlank(*pos_)) ++pos_;
  }

  bool Literal(std::string_view word) {
    if (static_cast<size_t>(end_ - pos_) < word.size()) return false;
    if (std::string_view(pos_, word.size()) != word) return false;
    pos_ += word.size();
    return true;
  }

  // Nesting is followed with a stack on the heap, not with recursion, so no depth of "[[[[" can
  // overflow the thread's stack.
  bool ParseTree(JsonValue& out) {
    std::vector<Open> open;
    std::string key;  // the name of the member whose value comes next
    for (;;) {
      JsonValue value;
      bool complete = false;
      if (!StartValue(open, key, value, complete)) return Abandon(open, out);
      if (!complete) continue;
      // A value is complete: add it to its container, then close as many containers as the text does.
      for (;;) {
        if (open.empty()) {
          out = std::move(value);
          return true;
        }
        Open& top = open.back();
        const bool object = top.value.kind == JsonKind::Object;
        if (object) {
          top.value.members.push_back(JsonMember{std::move(key), std::move(value)});
        } else {
          top.value.items.push_back(std::move(value));
        }
        SkipBlanks();
        if (pos_ == end_) return Abandon(open, out);
        const char c = *pos_++;
        if (c == ',') {
          if (object && !ParseKey(key)) return Abandon(open, out);
          break;
        }
        if (c != (object ? '}' : ']')) return Abandon(open, out);
        value = Close(open, key);
      }
    }
  }

  // Reads a scalar into `value` (complete), or opens a container; an empty one is complete at once.
  bool StartValue(std::vector<Open>& open, std::string& key, JsonValue& value, bool& complete) {
    SkipBlanks();
    if (pos_ == end_) return false;
    if (*pos_ != '{' && *pos_ != '[') {
      complete = true;
      return ParseScalar(value);
    }
    const bool object = *pos_++ == '{';
    open.push_back(Open{JsonValue{}, std::move(key)});
    open.back().value.kind = object ? JsonKind::Object : JsonKind::Array;
    key.clear();
    SkipBlanks();
    if (pos_ < end_ && *pos_ == (object ? '}' : ']')) {
      ++pos_;
      value = Close(open, key);
      complete = true;
      return true;
    }
    return !object || ParseKey(key);
  }

  // Pops the innermost container; `key` gets back the name it has in its parent.
  static JsonValue Close(std::vector<Open>& open, std::string& key) {
    JsonValue value = std::move(open.back().value);
    key = std::move(open.back().key);
    open.pop_back();
    return value;
  }

  // On failure the outermost container keeps the values completed inside it.
  static bool Abandon(std::vector<Open>& open, JsonValue& out) {
    if (!open.empty()) out = std::move(open.front().value);
    return false;
  }

  // A member name and its colon.
  bool ParseKey(std::string& key) {
    SkipBlanks();
    if (pos_ == end_ || *pos_ != '"') return false;
    key.clear();
    if (!ParseString(key)) return false;
    SkipBlanks();
    if (pos_ == end_ || *pos_ != ':') return false;
    ++pos_;
    return true;
  }

  bool ParseScalar(JsonValue& out) {
    if (*pos_ == '"') {
      out.kind = JsonKind::String;
      return ParseString(out.text);
    }
    if (Literal("true")) {
      out.kind = JsonKind::Bool;
      out.boolean = true;
      return true;
    }
    if (Literal("false")) {
      out.kind = JsonKind::Bool;
      return true;
    }
    if (Literal("null")) return true;
    return ParseNumber(out);
  }

  bool ParseNumber(JsonValue& out) {
    char* stop = nullptr;
    const double value = std::strtod(pos_, &stop);
    // strtod may run past a zero byte embedded in the text only if the text ends there; clamp anyway.
    if (stop == pos_ || stop > end_) return false;
    out.kind = JsonKind::Number;
    out.number = value;
    pos_ = stop;
    return true;
  }

  // Four bytes converted by the standard unsigned conversion, base 16: it stops at the first byte that
  // does not fit ("12G4" gives 0x12), and a leading blank, sign or "0x" is taken as strtoul takes it.
  static unsigned HexUnit(const char* p) {
    char digits[5] = {p[0], p[1], p[2], p[3], 0};
    return static_cast<unsigned>(std::strtoul(digits, nullptr, 16));
  }

  // Cursor on "u" of a \u escape.
  bool ParseUnicodeEscape(std::string& out) {
    if (end_ - pos_ < 5) return false;
    unsigned cp = HexUnit(pos_ + 1);
    pos_ += 5;
    // A high surrogate followed by another \uXXXX combines with it, whatever the second unit is.
    if (cp >= 0xD800 && cp <= 0xDBFF && end_ - pos_ >= 6 && pos_[0] == '\\' && pos_[1] == 'u') {
      const unsigned second = HexUnit(pos_ + 2);
      cp = (cp << 10) + second - 0x35FDC00u;
      pos_ += 6;
    }
    AppendUtf8(out, static_cast<char32_t>(cp));
    return true;
  }

  bool ParseString(std::string& out) {
    ++pos_;  // opening quote
    for (;;) {
      if (pos_ == end_) return false;
      const char c = *pos_;
      if (c == '"') {
        ++pos_;
        return true;
      }
      if (c != '\\') {
        out.push_back(c);
        ++pos_;
        continue;
      }
      if (end_ - pos_ < 2) return false;
      ++pos_;
      switch (*pos_) {
        case 'b': out.push_back('\b'); break;
        case 'f': out.push_back('\f'); break;
        case 'n': out.push_back('\n'); break;
        case 'r': out.push_back('\r'); break;
        case 't': out.push_back('\t'); break;
        case 'u':
          if (!ParseUnicodeEscape(out)) return false;
          continue;
        default: out.push_back(*pos_); break;
      }
      ++pos_;
    }
  }

  const char* pos_;
  const char* end_;
};

// Moves the children of `value` onto `pending`, leaving it a leaf.
void TakeChildren(JsonValue& value, std::vector<JsonValue>& pending) {
  for (JsonValue& item : value.items) pending.push_back(std::move(item));
  for (JsonMember& member : value.members) pending.push_back(std::move(member.value));
  value.items.clear();
  value.members.clear();
}

const JsonValue& SharedNull() {
  static const JsonValue null_value;
  return null_value;
}

}  // namespace

JsonValue::JsonValue() = default;
JsonValue::JsonValue(JsonValue&&) noexcept = default;
JsonValue& JsonValue::operator=(JsonValue&&) noexcept = default;

// Children are taken apart on a heap list, so destroying a deep tree does not recurse.
JsonValue::~JsonValue() {
  if (items.empty() && members.empty()) return;
  std::vector<JsonValue> pending;
  TakeChildren(*this, pending);
  while (!pending.empty()) {
    JsonValue last = std::move(pending.back());
    pending.pop_back();
    TakeChildren(last, pending);
  }
}

const JsonValue& JsonValue::Find(std::string_view key) const {
  for (const auto& [name, value] : members) {
    if (name == key) return value;
  }
  return SharedNull();
}

std::int64_t JsonValue::AsInt(std::int64_t fallback) const {
  if (kind == JsonKind::Number) {
    // Truncation toward zero, saturating instead of overflowing (a cast of an out-of-range double is UB).
    if (number != number) return 0;
    if (number >= 9223372036854775807.0) return std::numeric_limits<std::int64_t>::max();
    if (number <= -9223372036854775808.0) return std::numeric_limits<std::int64_t>::min();
    return static_cast<std::int64_t>(number);
  }
  if (kind == JsonKind::String && !text.empty()) {
    return std::strtoll(text.c_str(), nullptr, 10);
  }
  return fallback;
}

std::string JsonValue::AsString(std::string_view fallback) const {
  if (kind == JsonKind::String) return text;
  return std::string(fallback);
}

bool ParseJson(std::string_view text, JsonValue& out) {
  // strtod needs a terminated buffer; a copy keeps the caller's view untouched.
  const std::string terminated(text);
  Parser parser(terminated.c_str(), terminated.c_str() + terminated.size());
  return parser.ParseDocument(out);
}

std::string JsonQuote(std::string_view s) {
  std::string out;
  out.reserve(s.size() + 2);
  out.push_back('"');
  for (const char ch : s) {
    const auto byte = static_cast<unsigned char>(ch);
    switch (byte) {
      case '\t': out += "\\t"; break;
      case '\n': out += "\\n"; break;
      case '\r': out += "\\r"; break;
      case '"': out += "\\\""; break;
      case '\\': out += "\\\\"; break;
      default:
        if (byte < 0x20) {
          char escaped[8];
          std::snprintf(escaped, sizeof escaped, "\\u%04x", byte);
          out += escaped;
        } else {
          out.push_back(ch);
        }
    }
  }
  out.push_back('"');
  return out;
}

}  // namespace orv
