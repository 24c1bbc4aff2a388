#include "core/paths.h"

#include <windows.h>
#include <knownfolders.h>
#include <shlobj.h>

#include "core/text.h"

namespace orv {

namespace {

fs::path KnownFolder(REFKNOWNFOLDERID id, DWORD flags) {
  PWSTR raw = nullptr;
  fs::path result;
  if (SUCCEEDED(SHGetKnownFolderPath(id, flags, nullptr, &raw)) && raw != nullptr) result = raw;
  CoTaskMemFree(raw);
  return result;
}

fs::path LocalAppData() {
  if (const auto* o = GetFolderOverrides()) return o->local_app_data;
  return KnownFolder(FOLDERID_LocalAppData, 0);
}

fs::path UserPrograms() {
  if (const auto* o = GetFolderOverrides()) return o->user_programs;
  return KnownFolder(FOLDERID_UserProgramFiles, KF_FLAG_CREATE);
}

}  // namespace

fs::path GetModulePath() {
  wchar_t buffer[1040] = {};
  const DWORD length = GetModuleFileNameW(nullptr, buffer, 1040);
  return std::wstring(buffer, length);
}

fs::path GetModuleFolder() {
  if (const auto* o = GetFolderOverrides()) return o->module_folder;
  std::wstring path = GetModulePath().native();
  const size_t cut = path.find_last_of(L"\\/");
  if (cut != std::wstring::npos) path.resize(cut);
  return path;
}

fs::path GetDataFolder() {
  const fs::path base = LocalAppData();
  if (base.empty()) return {};
  std::wstring folder = base.native() + L"\\OrvLauncher";
  CreateDirectoryW(folder.c_str(), nullptr);
  return folder;
}

fs::path GetDefaultGameFolder() {
  const fs::path programs = UserPrograms();
  if (!programs.empty()) return programs.native() + L"\\Valdren";
  return GetDataFolder().native() + L"\\Jogo";
}

std::string PathToUtf8(const fs::path& path) { return WideToUtf8(path.native()); }
fs::path PathFromUtf8(std::string_view utf8) { return Utf8ToWide(utf8); }

fs::path JoinRelative(const fs::path& folder, std::string_view relative_utf8) {
  std::wstring relative = Utf8ToWide(relative_utf8);
  for (auto& ch : relative) {
    if (ch == L'/') ch = L'\\';
  }
  return folder.native() + L"\\" + relative;
}

}  // namespace orv
