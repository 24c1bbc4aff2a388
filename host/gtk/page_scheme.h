// The page's private origin: "orvlauncher://app/<file>" serves the flat files of the UI folder,
// answering byte ranges so that a background video can be played from it.
#pragma once

#include <webkit2/webkit2.h>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace orv {

inline constexpr char kPageScheme[] = "orvlauncher";
inline constexpr char kPageOrigin[] = "orvlauncher://app/";
inline constexpr char kPageUrl[] = "orvlauncher://app/index.html";

// Registers the scheme on `context`, serving files of `folder`.
void RegisterPageScheme(WebKitWebContext* context, const std::filesystem::path& folder);

// The file a request names: a plain name of letters, digits, '.', '-' and '_' right under the
// origin, not starting with '.'. Anything else (sub-folders, "..", escapes, other hosts) is refused.
[[nodiscard]] std::optional<std::string> PageFileName(std::string_view uri);

// The byte range a "Range" header asks of a file of `size` bytes, shortened to at most `cap` bytes.
// nullopt for a header that is not one satisfiable "bytes=" range.
struct ByteRange {
  std::uint64_t first = 0;
  std::uint64_t last = 0;  // inclusive
};
[[nodiscard]] std::optional<ByteRange> ParseRange(std::string_view header, std::uint64_t size, std::uint64_t cap);

// The Content-Type for a file name.
[[nodiscard]] const char* PageContentType(std::string_view name);

}  // namespace orv
