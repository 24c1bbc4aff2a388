// Stands in for the game's executable (and for the runtime installer) in the Wine tests: records
// how it was started in "chamada-<pid>.txt" beside itself (the command line, then the working
// folder, UTF-8) and, started with "/install", writes the runtime's registry values as an installer
// of 14.50.35719 would.
#include <windows.h>

#include <string>
#include <utility>

#include "support/registry_win.h"

namespace {

std::string Utf8(const std::wstring& wide) {
  const int size =
      WideCharToMultiByte(CP_UTF8, 0, wide.c_str(), static_cast<int>(wide.size()), nullptr, 0, nullptr, nullptr);
  std::string text(static_cast<size_t>(size), '\0');
  WideCharToMultiByte(CP_UTF8, 0, wide.c_str(), static_cast<int>(wide.size()), text.data(), size, nullptr, nullptr);
  return text;
}

void InstallRuntime() {
  const std::pair<const wchar_t*, DWORD> values[] = {
      {L"Installed", 1}, {L"Major", 14}, {L"Minor", 50}, {L"Bld", 35719}};
  for (const auto& [name, value] : values) {
    orv::SetRegistryNumber(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\VisualStudio\\14.0\\VC\\Runtimes\\X64", name,
                           value, KEY_WOW64_64KEY);
  }
}

}  // namespace

int wmain(int argc, wchar_t** argv);

int wmain(int argc, wchar_t** argv) {
  for (int i = 1; i < argc; ++i) {
    if (std::wstring(argv[i]) == L"/install") InstallRuntime();
  }
  wchar_t module[1024] = {};
  std::wstring folder(module, GetModuleFileNameW(nullptr, module, 1024));
  folder.resize(folder.find_last_of(L'\\'));
  wchar_t current[1024] = {};
  const std::wstring working(current, GetCurrentDirectoryW(1024, current));
  const std::string record = Utf8(GetCommandLineW()) + "\n" + Utf8(working) + "\n";

  // Written under a temporary name and renamed, so a reader never sees half a record.
  const std::wstring name = folder + L"\\chamada-" + std::to_wstring(GetCurrentProcessId());
  const HANDLE file = CreateFileW((name + L".tmp").c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) return 2;
  DWORD written = 0;
  WriteFile(file, record.data(), static_cast<DWORD>(record.size()), &written, nullptr);
  CloseHandle(file);
  return MoveFileW((name + L".tmp").c_str(), (name + L".txt").c_str()) ? 0 : 3;
}
