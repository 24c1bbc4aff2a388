// Feeds arbitrary bytes to the JSON reader and checks what must hold for any input: no crash, and a
// string that parsed once quotes and re-parses to the same bytes.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "core/json.h"

namespace {

void CheckStrings(const JsonValue& value) {
  if (value.kind == JsonKind::String) {
    JsonValue again;
    if (!ParseJson(JsonQuote(value.text), again) || again.text != value.text) std::abort();
  }
  for (const JsonValue& item : value.items) CheckStrings(item);
  for (const auto& member : value.members) {
    (void)value.Find(member.key);
    CheckStrings(member.value);
  }
  (void)value.AsInt(0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  JsonValue value;
  if (ParseJson(std::string_view(reinterpret_cast<const char*>(data), size), value)) CheckStrings(value);
  return 0;
}
