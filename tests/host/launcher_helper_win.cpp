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

bool SetValue(const wchar_t* key_path, const wchar_t* name, const std::wstring& value) {
  HKEY key = nullptr;
  if (RegCreateKeyExW(HKEY_CURRENT_USER, key_path, 0, nullptr, 0, KEY_SET_VALUE | KEY_WOW64_32KEY, nullptr, &key,
                      nullptr) != ERROR_SUCCESS) {
    return false;
  }
  const LSTATUS status = RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                                        static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
  RegCloseKey(key);
  return status == ERROR_SUCCESS;
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
  const wchar_t* channel = L"{F3017226-FE2A-4295-8BDF-00C3A9A7E4C5}";
  const bool ok =
      SetValue((std::wstring(L"Software\\Microsoft\\EdgeUpdate\\ClientState\\") + channel).c_str(), L"EBWebView",
               runtime_folder) &&
      SetValue((std::wstring(L"Software\\Microsoft\\EdgeUpdate\\Clients\\") + channel).c_str(), L"pv", version);
  return ok ? 0 : 4;
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
