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

// The log written since the last call (the file is removed, so each call sees only what is new).
inline std::string TakeLauncherLog() {
  std::string text;
  (void)ReadWholeFile(GetDataFolder() / "launcher.log", text);
  DeleteFileAt(GetDataFolder() / "launcher.log");
  return text;
}

// The installed files by "/"-separated relative path with their bytes; the staging folder and the
// hash cache's folder are left out.
inline std::map<std::string, std::string> InstalledFiles(const std::filesystem::path& game) {
  std::map<std::string, std::string> files;
  for (const auto& item : std::filesystem::recursive_directory_iterator(game)) {
    std::string relative = PathToUtf8(std::filesystem::relative(item.path(), game));
    std::replace(relative.begin(), relative.end(), '\\', '/');
    if (!item.is_regular_file() || relative.starts_with(".orvlauncher/") || relative.starts_with(".atualizando/")) {
      continue;
    }
    files[relative] = ReadTestFile(item.path());
  }
  return files;
}

}  // namespace orv
