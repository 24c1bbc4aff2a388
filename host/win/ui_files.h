// The page's files: carried inside the executable as RT_RCDATA resources and written out at start.
#pragma once

#include <filesystem>

namespace orv {

// The folder the page is served from. A "ui" folder beside the executable holding an index.html wins
// and nothing is written; otherwise the five built-in files are written (overwriting) into the data
// folder's "ui" folder, which is returned.
[[nodiscard]] std::filesystem::path ExtractUiFiles();

}  // namespace orv
