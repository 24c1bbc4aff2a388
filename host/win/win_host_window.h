// The bridge's window operations on the Win32 main window.
#pragma once

#include <windows.h>

#include "host/host_bridge.h"

namespace orv {

class WinHostWindow final : public HostWindow {
 public:
  explicit WinHostWindow(HWND window) : window_(window) {}
  void BeginDrag() override;
  void Minimize() override;
  void RequestClose() override;
  [[nodiscard]] std::filesystem::path PickFolder(const std::filesystem::path& current) override;
  void OpenUrl(const std::string& url) override;

 private:
  HWND window_;
};

}  // namespace orv
