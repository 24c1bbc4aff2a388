#include "host/win/win_host_window.h"

#include <shellapi.h>

#include "core/folder_picker.h"
#include "core/text.h"

namespace orv {

void WinHostWindow::BeginDrag() {
  // The system then moves the borderless window as if its caption had been pressed.
  ReleaseCapture();
  SendMessageW(window_, WM_NCLBUTTONDOWN, HTCAPTION, 0);
}

void WinHostWindow::Minimize() { ShowWindow(window_, SW_MINIMIZE); }

void WinHostWindow::RequestClose() { PostMessageW(window_, WM_CLOSE, 0, 0); }

std::filesystem::path WinHostWindow::PickFolder(const std::filesystem::path& current) {
  return orv::PickFolder(current, window_);
}

void WinHostWindow::OpenUrl(const std::string& url) {
  ShellExecuteW(nullptr, L"open", Utf8ToWide(url).c_str(), nullptr, nullptr, SW_SHOWNORMAL);
}

}  // namespace orv
