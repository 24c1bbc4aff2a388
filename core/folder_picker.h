// The folder-picker dialog used by "escolherPasta".
#pragma once

#include <filesystem>

namespace orv {

// Shows a modal folder picker owned by `owner_window` (the platform's window handle, may be null),
// starting in `current` when it is not empty. Empty when cancelled or when anything fails.
[[nodiscard]] std::filesystem::path PickFolder(const std::filesystem::path& current, void* owner_window);

}  // namespace orv
