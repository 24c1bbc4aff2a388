#include "game/prerequisites.h"

#include <windows.h>
#include <shellapi.h>

#include <string>

namespace orv {

namespace {

constexpr wchar_t kRuntimeKey[] = L"SOFTWARE\\Microsoft\\VisualStudio\\14.0\\VC\\Runtimes\\X64";
constexpr DWORD kInstallerWaitMs = 600000;

class RegistryKey {
 public:
  explicit RegistryKey(const wchar_t* path) {
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_READ | KEY_WOW64_64KEY, &key_) != ERROR_SUCCESS) {
      key_ = nullptr;
    }
  }
  ~RegistryKey() {
    if (key_ != nullptr) RegCloseKey(key_);
  }
  RegistryKey(const RegistryKey&) = delete;
  RegistryKey& operator=(const RegistryKey&) = delete;

  // Only a value of exactly four bytes counts (a QWORD "Major" does not).
  bool ReadDword(const wchar_t* name, std::uint32_t& value) const {
    if (key_ == nullptr) return false;
    DWORD data = 0;
    DWORD size = sizeof data;
    if (RegQueryValueExW(key_, name, nullptr, nullptr, reinterpret_cast<BYTE*>(&data), &size) != ERROR_SUCCESS) {
      return false;
    }
    value = data;
    return size == sizeof data;
  }

 private:
  HKEY key_ = nullptr;
};

bool VcRuntimeInstalled() {
  const RegistryKey key(kRuntimeKey);
  VcRuntimeValues values;
  return key.ReadDword(L"Installed", values.installed) && key.ReadDword(L"Major", values.major) &&
         key.ReadDword(L"Minor", values.minor) && key.ReadDword(L"Bld", values.bld) && VcRuntimeIsCurrent(values);
}

bool GameInputInstalled() {
  wchar_t folder[260] = {};
  const UINT length = GetSystemDirectoryW(folder, 260);
  if (length == 0 || length >= 260) return false;
  const std::wstring dll = std::wstring(folder, length) + L"\\GameInput.dll";
  return GetFileAttributesW(dll.c_str()) != INVALID_FILE_ATTRIBUTES;
}

class WindowsPrerequisites final : public PrerequisiteSystem {
 public:
  PrerequisiteFlags Check() override { return MakePrerequisiteFlags(VcRuntimeInstalled(), GameInputInstalled()); }

  bool RunElevatedScript(const std::filesystem::path& script, std::uint32_t& error_code) override {
    const std::wstring parameters = L"/c \"" + script.native() + L"\"";
    SHELLEXECUTEINFOW info = {};
    info.cbSize = sizeof info;
    info.fMask = SEE_MASK_NOCLOSEPROCESS | SEE_MASK_NOASYNC;
    info.lpVerb = L"runas";
    info.lpFile = L"cmd.exe";
    info.lpParameters = parameters.c_str();
    info.nShow = SW_HIDE;
    const BOOL started = ShellExecuteExW(&info);
    if (!started || info.hProcess == nullptr) {
      error_code = GetLastError();
      return false;
    }
    // Only the check afterwards decides; the wait's own outcome does not matter.
    WaitForSingleObject(info.hProcess, kInstallerWaitMs);
    CloseHandle(info.hProcess);
    return true;
  }
};

}  // namespace

PrerequisiteSystem& SystemPrerequisites() {
  static WindowsPrerequisites system;
  return system;
}

}  // namespace orv
