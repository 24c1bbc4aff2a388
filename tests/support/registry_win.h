// The registry of the test's Wine prefix, written and cleaned as installers and policies leave it.
#pragma once

#include <windows.h>

#include <string>

namespace orv {

// Runs "reg.exe <arguments>" and waits for it: its exit code, or -1 when it did not start. Under Wine
// a process start now and then fails while the prefix's services start, so it is tried five times.
inline int RunRegExe(const std::wstring& arguments) {
  std::wstring command = L"reg.exe " + arguments;
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION process{};
  for (int attempt = 0; CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW, nullptr,
                                       nullptr, &startup, &process) == FALSE;
       ++attempt) {
    if (attempt == 4) return -1;
    Sleep(200);
  }
  WaitForSingleObject(process.hProcess, INFINITE);
  DWORD code = 1;
  GetExitCodeProcess(process.hProcess, &code);
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
  return static_cast<int>(code);
}

// Deletes the key `path` with everything below it, per machine and per user, in both registry views.
inline void DeleteKeyEverywhere(const wchar_t* path) {
  for (HKEY root : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER}) {
    for (REGSAM view : {KEY_WOW64_32KEY, KEY_WOW64_64KEY}) {
      HKEY key = nullptr;
      if (RegOpenKeyExW(root, nullptr, 0, KEY_ALL_ACCESS | view, &key) != ERROR_SUCCESS) continue;
      RegDeleteTreeW(key, path);
      RegCloseKey(key);
    }
  }
}

}  // namespace orv
