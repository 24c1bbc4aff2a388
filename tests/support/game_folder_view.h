// What an update run left behind, as the run tests look at it: the launcher's log and the installed
// files.
#pragma once

#include <algorithm>
#include <filesystem>
#include <map>
#include <string>

#include "core/file_util.h"
#include "core/paths.h"
#include "support/temp_dir.h"

namespace orv {

// The log as written so far.
inline std::string LauncherLog() {
  std::string text;
  (void)ReadWholeFile(GetDataFolder() / "launcher.log", text);
  return text;
}

// The log written since the last call (the file is removed, so each call sees only what is new).
inline std::string TakeLauncherLog() {
  std::string text = LauncherLog();
  DeleteFileAt(GetDataFolder() / "launcher.log");
  return text;
}

// The files under `game` by "/"-separated relative path with their bytes; the hash cache's folder is
// left out, and so is the staging folder unless `with_staging`.
inline std::map<std::string, std::string> InstalledFiles(const std::filesystem::path& game, bool with_staging = false) {
  std::map<std::string, std::string> files;
  for (const auto& item : std::filesystem::recursive_directory_iterator(game)) {
    std::string relative = PathToUtf8(std::filesystem::relative(item.path(), game));
    std::replace(relative.begin(), relative.end(), '\\', '/');
    if (!item.is_regular_file() || relative.starts_with(".orvlauncher/") ||
        (!with_staging && relative.starts_with(".atualizando/"))) {
      continue;
    }
    files[relative] = ReadTestFile(item.path());
  }
  return files;
}

// Empty when both hold the same names with the same bytes; otherwise the names that differ, short
// enough to read in a failure: " +name" only in `got`, " -name" only in `want`, " ~name" other bytes.
inline std::string FolderDifferences(const std::map<std::string, std::string>& got,
                                     const std::map<std::string, std::string>& want) {
  std::string text;
  for (const auto& [name, bytes] : got) {
    const auto other = want.find(name);
    if (other == want.end() || other->second != bytes) text += (other == want.end() ? " +" : " ~") + name;
  }
  for (const auto& [name, bytes] : want) {
    if (!got.contains(name)) text += " -" + name;
  }
  return text;
}

}  // namespace orv
