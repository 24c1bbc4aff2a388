// The player's choice of game folder (pastajogo.txt in the data folder) and the channel folders.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string_view>

namespace orv {

// The chosen folder, or the default one when pastajogo.txt is missing, blank or not absolute
// (a drive or UNC path on Windows; also a path starting with "/" on Linux).
[[nodiscard]] std::filesystem::path LoadGameFolder();
// Writes the folder as UTF-8 with nothing added; failures are ignored.
void SaveGameFolder(const std::filesystem::path& folder);
// Channel 0 owns the game folder itself; channel k > 0 lives in "<game folder> (<name>)".
[[nodiscard]] std::filesystem::path ChannelFolder(const std::filesystem::path& game_folder, std::size_t index,
                                                  std::string_view name_utf8);
// The text rule of LoadGameFolder, exposed for tests: the folder a pastajogo.txt content names, or
// an empty path when the content must fall back to the default.
[[nodiscard]] std::filesystem::path GameFolderFromText(std::string_view content);
// Platform rule: does this (already trimmed) path name an absolute folder the launcher accepts?
[[nodiscard]] bool IsAcceptedGameFolder(const std::filesystem::path& path);

}  // namespace orv
