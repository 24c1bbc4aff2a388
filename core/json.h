// JSON values, the lenient reader and the string quoter.
//
// The launcher reads JSON (launcher.json, manifests, hashes.json, diario.json, page commands) into
// JsonValue trees and never serialises a tree: every JSON text it writes is composed from literal
// fragments, printf-style numbers and JsonQuote.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace orv {

struct JsonMember;

enum class JsonKind : std::int32_t { Null = 0, Bool = 1, Number = 2, String = 3, Array = 4, Object = 5 };

struct JsonValue {
  JsonKind kind = JsonKind::Null;
  bool boolean = false;
  double number = 0.0;
  std::string text;                 // bytes as received, escapes decoded
  std::vector<JsonValue> items;     // Array elements, document order
  std::vector<JsonMember> members;  // Object members, document order, duplicates kept

  // Trees are moved, never copied (a copy would recurse once per nesting level); the destructor
  // takes a tree apart without recursion.
  JsonValue();
  JsonValue(const JsonValue&) = delete;
  JsonValue& operator=(const JsonValue&) = delete;
  JsonValue(JsonValue&&) noexcept;
  JsonValue& operator=(JsonValue&&) noexcept;
  ~JsonValue();

  // The value of the first member named `key`; the shared Null when there is none or this is not an
  // Object, so lookups chain without checks.
  [[nodiscard]] const JsonValue& Find(std::string_view key) const;

  // Number: truncated toward zero. Non-empty String: strtoll base 10 ("12abc" gives 12, "abc" 0,
  // out-of-range saturates). Anything else: `fallback`.
  [[nodiscard]] std::int64_t AsInt(std::int64_t fallback) const;

  // A copy of the text for a String (an empty String gives ""), else `fallback`.
  [[nodiscard]] std::string AsString(std::string_view fallback) const;

  [[nodiscard]] bool IsObject() const { return kind == JsonKind::Object; }
  [[nodiscard]] bool IsArray() const { return kind == JsonKind::Array; }
  [[nodiscard]] bool IsString() const { return kind == JsonKind::String; }
  [[nodiscard]] bool IsNumber() const { return kind == JsonKind::Number; }
};

struct JsonMember {
  std::string key;
  JsonValue value;
};

// Parses `text` into `out` (which the caller made empty). True only when the whole text, less
// leading and trailing blanks, is one value. Lenient on purpose: strtod numbers (+5, .5, 0x10, nan),
// unknown escapes taken literally, no UTF-8 validation, no depth limit (nesting is followed on the
// heap, not the stack). On false `out` holds the outermost container with the values completed in it.
[[nodiscard]] bool ParseJson(std::string_view text, JsonValue& out);

// The JSON string literal of the byte string `s`, quotes included. Bytes >= 0x80 pass through raw.
[[nodiscard]] std::string JsonQuote(std::string_view s);

}  // namespace orv
