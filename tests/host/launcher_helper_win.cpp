// A helper program for the launcher's whole-program tests. What it does depends on its own file name:
//   MicrosoftEdgeWebview2Setup.exe  the runtime installer: notes its arguments in instalador.txt
//                                   beside itself and, for "/silent /install", registers the runtime
//                                   folder named in instalar.txt (per user, as the vendor's
//                                   installer does without elevation)
//   OrvLauncher.exe                 a newer launcher put in place by a self-update: notes its arguments
//                                   in novo-iniciado.txt beside itself
#include <windows.h>
#include <shellapi.h>

#include <cstdio>
#include <string>

#include "support/registry_win.h"

namespace {

std::wstring Folder(const std::wstring& path) { return path.substr(0, path.find_last_of(L'\\')); }

std::wstring Arguments() {
  int count = 0;
  LPWSTR* argv = CommandLineToArgvW(GetCommandLineW(), &count);
  std::wstring joined;
  for (int i = 1; i < count; ++i) joined += (i > 1 ? L" " : L"") + std::wstring(argv[i]);
  LocalFree(argv);
  return joined;
}

// Appends one UTF-8 line.
void Note(const std::wstring& path, const std::wstring& text) {
  char line[2048];
  const int size = WideCharToMultiByte(CP_UTF8, 0, text.c_str(), static_cast<int>(text.size()), line, sizeof(line) - 1,
                                       nullptr, nullptr);
  line[size] = '\n';
  if (FILE* file = _wfopen(path.c_str(), L"ab")) {
    std::fwrite(line, 1, static_cast<size_t>(size) + 1, file);
    std::fclose(file);
  }
}

int Install(const std::wstring& folder) {
  Note(folder + L"\\instalador.txt", Arguments());
  if (Arguments() != L"/silent /install") return 2;
  FILE* file = _wfopen((folder + L"\\instalar.txt").c_str(), L"rb");
  if (file == nullptr) return 3;
  char buffer[1024];
  const size_t size = std::fread(buffer, 1, sizeof(buffer), file);
  std::fclose(file);
  wchar_t runtime[1024];
  const int length = MultiByteToWideChar(CP_UTF8, 0, buffer, static_cast<int>(size), runtime, 1023);
  const std::wstring runtime_folder(runtime, static_cast<size_t>(length));
  const std::wstring version = runtime_folder.substr(runtime_folder.find_last_of(L'\\') + 1);
  return orv::RegisterRuntimePerUser(runtime_folder, version) ? 0 : 4;
}

}  // namespace

int wmain();

int wmain() {
  wchar_t path[MAX_PATH];
  const std::wstring self(path, GetModuleFileNameW(nullptr, path, MAX_PATH));
  const std::wstring folder = Folder(self);
  const std::wstring name = self.substr(folder.size() + 1);
  if (_wcsicmp(name.c_str(), L"MicrosoftEdgeWebview2Setup.exe") == 0) return Install(folder);
  Note(folder + L"\\novo-iniciado.txt", Arguments());
  return 0;
}
