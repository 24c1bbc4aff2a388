// The registry of the test's Wine prefix, written and cleaned as installers and policies leave it.
// Header-only and without the test framework, so the stand-in programs use it too.
#pragma once

#include <windows.h>

#include <string>

namespace orv {

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

// Writes the value `name` under `path` (the key is created), in the registry view `view` when given.
inline bool SetRegistryValue(HKEY root, const std::wstring& path, const wchar_t* name, DWORD type, const void* data,
                             DWORD size, REGSAM view = 0) {
  HKEY key = nullptr;
  if (RegCreateKeyExW(root, path.c_str(), 0, nullptr, 0, KEY_SET_VALUE | view, nullptr, &key, nullptr) !=
      ERROR_SUCCESS) {
    return false;
  }
  const LSTATUS status = RegSetValueExW(key, name, 0, type, static_cast<const BYTE*>(data), size);
  RegCloseKey(key);
  return status == ERROR_SUCCESS;
}

inline bool SetRegistryText(HKEY root, const std::wstring& path, const wchar_t* name, const std::wstring& text,
                            REGSAM view = 0) {
  return SetRegistryValue(root, path, name, REG_SZ, text.c_str(),
                          static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)), view);
}

inline bool SetRegistryNumber(HKEY root, const std::wstring& path, const wchar_t* name, DWORD number, REGSAM view = 0) {
  return SetRegistryValue(root, path, name, REG_DWORD, &number, sizeof(number), view);
}

// The browser runtime in `folder` registered per user, as its installer does without elevation:
// the stable channel's folder and version values, in the 32-bit view.
inline bool RegisterRuntimePerUser(const std::wstring& folder, const std::wstring& version) {
  const std::wstring channel = L"{F3017226-FE2A-4295-8BDF-00C3A9A7E4C5}";
  const std::wstring base = L"Software\\Microsoft\\EdgeUpdate\\";
  return SetRegistryText(HKEY_CURRENT_USER, base + L"ClientState\\" + channel, L"EBWebView", folder, KEY_WOW64_32KEY) &&
         SetRegistryText(HKEY_CURRENT_USER, base + L"Clients\\" + channel, L"pv", version, KEY_WOW64_32KEY);
}

}  // namespace orv
