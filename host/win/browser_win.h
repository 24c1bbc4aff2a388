// The browser view that fills the main window: its asynchronous creation chain, its settings, the
// page's folder mapping, and the two events the launcher listens to. UI thread only.
#pragma once

#include <windows.h>

#include <functional>
#include <string>

#include "host/webview2/com_ref.h"
#include "host/webview2/webview2_com.h"

namespace orv {

// The private host name the page is served under; .invalid never resolves outside the browser.
inline constexpr wchar_t kPageHostName[] = L"app.orvlauncher.invalid";
inline constexpr wchar_t kPageUrl[] = L"https://app.orvlauncher.invalid/index.html";

class Browser {
 public:
  // `on_page_message` gets every string the page posts, in UTF-8.
  explicit Browser(std::function<void(const std::string&)> on_page_message);

  // Starts creating the environment, then the controller inside `window`, then navigates to the
  // page. Failures are logged and stop the chain; the window stays empty.
  void Start(HWND window);
  // Hands one JSON text to the page; nothing happens before the view exists.
  void Deliver(const wchar_t* json);
  // Keeps the view the size of the window's client area.
  void Resize();
  // Releases the controller, then the view.
  void Release();

 private:
  HRESULT OnEnvironment(HRESULT result, WebView2Environment* environment);
  HRESULT OnController(HRESULT result, WebView2Controller* controller);
  void Configure();
  void MapPageFolder();
  void ListenToPage();
  HRESULT OnWebMessage(WebView2WebMessageArgs* args);

  std::function<void(const std::string&)> on_page_message_;
  HWND window_ = nullptr;
  ComRef<WebView2Controller> controller_;
  ComRef<WebView2> view_;
};

}  // namespace orv
