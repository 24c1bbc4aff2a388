#include "host/win/runtime_check.h"

#include <windows.h>
#include <objbase.h>
#include <shellapi.h>

#include "core/file_util.h"
#include "core/log.h"
#include "core/paths.h"
#include "core/text.h"
#include "host/webview2/runtime_loader.h"

namespace orv {

namespace {

constexpr wchar_t kInstallerName[] = L"MicrosoftEdgeWebview2Setup.exe";
// The vendor's forwarding link to the runtime's bootstrapper.
constexpr wchar_t kDownloadUrl[] = L"https://go.microsoft.com/fwlink/p/?LinkId=2124703";
// The two accented letters are kept in their doubly encoded form on purpose (as players know this box).
constexpr wchar_t kMissingText[] =
    L"O launcher precisa do Microsoft Edge WebView2 Runtime, que n\u00C3\u00A3o foi encontrado.\n\n"
    L"Abrir a p\u00C3\u00A1gina oficial de download?";

// True when a version is available; logs it when `log` is set.
bool HaveRuntime(bool log) {
  LPWSTR version = nullptr;
  const bool found = SUCCEEDED(GetAvailableWebView2Version(&version)) && version != nullptr;
  if (found && log) Log("WebView2 %s", WideToUtf8(version).c_str());
  CoTaskMemFree(version);
  return found;
}

bool RunInstaller() {
  const std::wstring installer = (GetModuleFolder() / kInstallerName).wstring();
  if (FileSizeOf(installer) <= 0) return false;
  SHELLEXECUTEINFOW info{};
  info.cbSize = sizeof(info);
  info.fMask = SEE_MASK_NOCLOSEPROCESS;
  info.lpFile = installer.c_str();
  info.lpParameters = L"/silent /install";
  info.nShow = SW_SHOWNORMAL;
  if (ShellExecuteExW(&info) && info.hProcess != nullptr) {
    WaitForSingleObject(info.hProcess, INFINITE);
    CloseHandle(info.hProcess);
  }
  return true;
}

}  // namespace

bool EnsureWebView2Runtime() {
  if (HaveRuntime(true)) return true;
  if (RunInstaller() && HaveRuntime(false)) return true;
  if (MessageBoxW(nullptr, kMissingText, L"Valdren", MB_YESNO | MB_ICONWARNING) == IDYES) {
    ShellExecuteW(nullptr, L"open", kDownloadUrl, nullptr, nullptr, SW_SHOWNORMAL);
  }
  return false;
}

}  // namespace orv
