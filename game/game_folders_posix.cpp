#include "game/game_folders.h"

#include <cstdlib>
#include <string>

#include "core/paths.h"

namespace orv {

namespace {

std::string Variable(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? std::string(value) : std::string();
}

}  // namespace

std::filesystem::path GameLocalAppData() {
  if (const auto* overrides = GetFolderOverrides()) return overrides->local_app_data;
  std::string prefix = Variable("WINEPREFIX");
  if (prefix.empty() || prefix[0] != '/') {
    const std::string home = Variable("HOME");
    if (home.empty()) return {};
    prefix = home + "/.wine";
  }
  const std::string user = Variable("USER");
  if (user.empty()) return {};
  return prefix + "/drive_c/users/" + user + "/AppData/Local";
}

}  // namespace orv
