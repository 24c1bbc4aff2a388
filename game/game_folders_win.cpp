#include "game/game_folders.h"

#include <windows.h>
#include <knownfolders.h>
#include <shlobj.h>

#include "core/paths.h"

namespace orv {

std::filesystem::path GameLocalAppData() {
  if (const auto* overrides = GetFolderOverrides()) return overrides->local_app_data;
  PWSTR raw = nullptr;
  std::filesystem::path result;
  if (SUCCEEDED(SHGetKnownFolderPath(FOLDERID_LocalAppData, 0, nullptr, &raw)) && raw != nullptr) result = raw;
  CoTaskMemFree(raw);
  return result;
}

}  // namespace orv
