#include "host/win/browser_win.h"

#include <utility>

#include "core/log.h"
#include "core/paths.h"
#include "core/text.h"
#include "host/webview2/runtime_loader.h"
#include "host/win/ui_files.h"

namespace orv {

Browser::Browser(std::function<void(const std::string&)> on_page_message)
    : on_page_message_(std::move(on_page_message)) {}

void Browser::Start(HWND window) {
  window_ = window;
  const std::wstring user_data = (GetDataFolder() / L"WebView2").wstring();
  auto handler = MakeHandler<WebView2EnvironmentCompleted, HRESULT, WebView2Environment*>(
      kIidEnvironmentCompleted,
      [this](HRESULT result, WebView2Environment* environment) { return OnEnvironment(result, environment); });
  (void)CreateWebView2Environment(user_data.c_str(), handler.get());
}

HRESULT Browser::OnEnvironment(HRESULT result, WebView2Environment* environment) {
  if (FAILED(result) || environment == nullptr) {
    Log("ambiente do WebView2 falhou: 0x%08lx", static_cast<unsigned long>(result));
    return S_OK;
  }
  auto handler = MakeHandler<WebView2ControllerCompleted, HRESULT, WebView2Controller*>(
      kIidControllerCompleted,
      [this](HRESULT done, WebView2Controller* controller) { return OnController(done, controller); });
  return environment->CreateCoreWebView2Controller(window_, handler.get());
}

HRESULT Browser::OnController(HRESULT result, WebView2Controller* controller) {
  if (FAILED(result) || controller == nullptr) {
    Log("controller do WebView2 falhou: 0x%08lx", static_cast<unsigned long>(result));
    return S_OK;
  }
  controller_.Assign(controller);
  view_.Reset();
  controller_->get_CoreWebView2(view_.Put());
  if (!view_) return S_OK;
  Resize();
  Configure();
  MapPageFolder();
  ListenToPage();
  view_->Navigate(kPageUrl);
  return S_OK;
}

void Browser::Configure() {
  ComRef<WebView2Settings> settings;
  if (FAILED(view_->get_Settings(settings.Put())) || !settings) return;
  settings->put_AreDevToolsEnabled(FALSE);
  settings->put_IsStatusBarEnabled(FALSE);
  settings->put_AreDefaultContextMenusEnabled(FALSE);
  settings->put_IsZoomControlEnabled(FALSE);
}

void Browser::MapPageFolder() {
  ComRef<WebView2V3> view3;
  if (FAILED(view_->QueryInterface(kIidWebView3, reinterpret_cast<void**>(view3.Put()))) || !view3) return;
  const std::wstring folder = ExtractUiFiles().wstring();
  view3->SetVirtualHostNameToFolderMapping(kPageHostName, folder.c_str(), kHostAccessDenyCors);
}

void Browser::ListenToPage() {
  EventRegistrationToken token{};
  auto on_message = MakeHandler<WebView2WebMessageHandler, WebView2*, WebView2WebMessageArgs*>(
      kIidWebMessageHandler, [this](WebView2*, WebView2WebMessageArgs* args) { return OnWebMessage(args); });
  view_->add_WebMessageReceived(on_message.get(), &token);
  // Pop-ups never open: links leave the launcher only through the page's "abrir" command.
  auto on_new_window = MakeHandler<WebView2NewWindowHandler, WebView2*, WebView2NewWindowArgs*>(
      kIidNewWindowHandler,
      [](WebView2*, WebView2NewWindowArgs* args) { return args != nullptr ? args->put_Handled(TRUE) : S_OK; });
  view_->add_NewWindowRequested(on_new_window.get(), &token);
}

HRESULT Browser::OnWebMessage(WebView2WebMessageArgs* args) {
  if (args == nullptr) return S_OK;
  LPWSTR text = nullptr;
  const HRESULT result = args->TryGetWebMessageAsString(&text);
  std::string message;
  if (SUCCEEDED(result) && text != nullptr) message = WideToUtf8(text);
  CoTaskMemFree(text);
  if (!message.empty()) on_page_message_(message);
  return S_OK;
}

void Browser::Deliver(const wchar_t* json) {
  if (view_) view_->PostWebMessageAsJson(json);
}

void Browser::Resize() {
  if (!controller_) return;
  RECT client{};
  GetClientRect(window_, &client);
  controller_->put_Bounds(client);
}

void Browser::Release() {
  controller_.Reset();
  view_.Reset();
}

}  // namespace orv
