// Feeds arbitrary bytes to the JSON reader and checks what must hold for any input: no crash (deep
// nesting included), and a string that parsed once quotes and re-parses to the same bytes.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "core/json.h"

using namespace orv;

namespace {

void CheckString(const JsonValue& value) {
  JsonValue again;
  if (!ParseJson(JsonQuote(value.text), again) || again.text != value.text) std::abort();
}

// Walks the tree with a stack of its own: the reader accepts any depth, so must this check.
void CheckStrings(const JsonValue& root) {
  std::vector<const JsonValue*> pending{&root};
  while (!pending.empty()) {
    const JsonValue& value = *pending.back();
    pending.pop_back();
    if (value.kind == JsonKind::String) CheckString(value);
    for (const JsonValue& item : value.items) pending.push_back(&item);
    for (const auto& member : value.members) {
      (void)value.Find(member.key);
      pending.push_back(&member.value);
    }
    (void)value.AsInt(0);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  JsonValue value;
  if (ParseJson(std::string_view(reinterpret_cast<const char*>(data), size), value)) CheckStrings(value);
  return 0;
}
