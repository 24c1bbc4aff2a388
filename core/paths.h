// Folders the launcher derives for itself, and the conversions between paths and UTF-8.
//
// Windows: module folder = the executable's folder; data folder = %LOCALAPPDATA%\OrvLauncher;
// default game folder = the per-user Programs folder + \Valdren.
// Linux: data folder = $XDG_DATA_HOME/OrvLauncher (default ~/.local/share/OrvLauncher); default game
// folder = ~/Games/Valdren.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace orv {

namespace fs = std::filesystem;

// The running executable's folder, without a trailing separator.
[[nodiscard]] fs::path GetModuleFolder();
// The launcher's data folder; created (result ignored) every time it is derived. Empty when the
// platform's local application data folder cannot be had.
[[nodiscard]] fs::path GetDataFolder();
// Where the game goes when the player never chose a folder.
[[nodiscard]] fs::path GetDefaultGameFolder();
// The running executable's full path.
[[nodiscard]] fs::path GetModulePath();

[[nodiscard]] std::string PathToUtf8(const fs::path& path);
[[nodiscard]] fs::path PathFromUtf8(std::string_view utf8);

// folder + separator + a manifest-style relative path ("a/b\c", UTF-8) with every separator turned
// into the platform's own. No normalisation beyond that: callers validate relative paths first.
[[nodiscard]] fs::path JoinRelative(const fs::path& folder, std::string_view relative_utf8);
// A manifest-style relative path that stays inside the folder it is joined to: not empty, no "..",
// no ":", not starting with a separator.
[[nodiscard]] bool IsSafeRelativePath(std::string_view relative_utf8);
// path + suffix, as text (".part", " (Teste)"): never a new path component.
[[nodiscard]] fs::path WithSuffix(const fs::path& path, std::string_view suffix_utf8);

// Test seam: replaces the platform's answers for the module folder and the two known folders
// (local application data, per-user programs). Pass nullptr to restore. Not for production code.
struct FolderOverrides {
  fs::path module_folder;
  fs::path local_app_data;
  fs::path user_programs;  // empty: the known folder is unavailable
};
void SetFolderOverridesForTesting(const FolderOverrides* overrides);
[[nodiscard]] const FolderOverrides* GetFolderOverrides();

}  // namespace orv
