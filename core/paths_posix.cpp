#include "core/paths.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

namespace orv {

namespace {

fs::path Home() {
  const char* home = std::getenv("HOME");
  return (home && *home) ? fs::path(home) : fs::path();
}

fs::path LocalAppData() {
  if (const auto* o = GetFolderOverrides()) return o->local_app_data;
  const char* xdg = std::getenv("XDG_DATA_HOME");
  if (xdg && *xdg == '/') return xdg;
  const fs::path home = Home();
  return home.empty() ? fs::path() : fs::path(home.native() + "/.local/share");
}

fs::path UserPrograms() {
  if (const auto* o = GetFolderOverrides()) return o->user_programs;
  const fs::path home = Home();
  return home.empty() ? fs::path() : fs::path(home.native() + "/Games");
}

}  // namespace

fs::path GetModulePath() {
  char buffer[4096];
  const ssize_t length = readlink("/proc/self/exe", buffer, sizeof buffer);
  return length > 0 ? std::string(buffer, static_cast<size_t>(length)) : std::string();
}

fs::path GetModuleFolder() {
  if (const auto* o = GetFolderOverrides()) return o->module_folder;
  std::string path = GetModulePath().native();
  const size_t cut = path.rfind('/');
  if (cut != std::string::npos) path.resize(cut);
  return path;
}

fs::path GetDataFolder() {
  const fs::path base = LocalAppData();
  if (base.empty()) return {};
  std::string folder = base.native() + "/OrvLauncher";
  // Like the Windows side, only the last level is created; XDG folders normally exist.
  mkdir(base.c_str(), 0700);
  mkdir(folder.c_str(), 0700);
  return folder;
}

fs::path GetDefaultGameFolder() {
  const fs::path programs = UserPrograms();
  if (!programs.empty()) return programs.native() + "/Valdren";
  return GetDataFolder().native() + "/Jogo";
}

std::string PathToUtf8(const fs::path& path) { return path.native(); }
fs::path PathFromUtf8(std::string_view utf8) { return std::string(utf8); }

fs::path JoinRelative(const fs::path& folder, std::string_view relative_utf8) {
  std::string relative(relative_utf8);
  for (auto& ch : relative) {
    if (ch == '\\') ch = '/';
  }
  return folder.native() + "/" + relative;
}

}  // namespace orv
