#include "host/win/main_window_win.h"

#include <shellapi.h>

#include <atomic>
#include <memory>

#include "core/text.h"

namespace orv {

namespace {

constexpr wchar_t kClassName[] = L"OrvLauncher";
constexpr int kWidth96 = 1100;
constexpr int kHeight96 = 640;

std::atomic<HWND> g_main_window{nullptr};

struct WindowContext {
  EngineState* state;
  bool auto_mode;
  Browser* browser;
};

void StartSwapScript(const EngineState& state) {
  if (state.swap_script_path.empty()) return;
  const std::wstring parameters = L"/c \"" + state.swap_script_path.wstring() + L"\"";
  ShellExecuteW(nullptr, L"open", L"cmd.exe", parameters.c_str(), nullptr, SW_HIDE);
}

LRESULT CALLBACK WindowProc(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
  if (message == WM_NCCREATE) {
    const auto* create = reinterpret_cast<const CREATESTRUCTW*>(lparam);
    SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(create->lpCreateParams));
  }
  auto* context = reinterpret_cast<WindowContext*>(GetWindowLongPtrW(window, GWLP_USERDATA));
  if (context == nullptr) return DefWindowProcW(window, message, wparam, lparam);
  switch (message) {
    case WM_CLOSE:
      // Unattended runs finish even when the window goes; a player's close pauses the run.
      if (context->state->run_active.load() != 0 && !context->auto_mode) context->state->cancel_flag.store(1);
      DestroyWindow(window);
      return 0;
    case WM_DESTROY:
      StartSwapScript(*context->state);
      PostQuitMessage(0);
      return 0;
    case WM_SIZE: context->browser->Resize(); return 0;
    case kWmAppPostJson: {
      const std::unique_ptr<std::wstring> json(reinterpret_cast<std::wstring*>(lparam));
      if (json) context->browser->Deliver(json->c_str());
      return 0;
    }
    default: return DefWindowProcW(window, message, wparam, lparam);
  }
}

}  // namespace

HWND CreateMainWindow(HINSTANCE instance, int show, EngineState& state, bool auto_mode, Browser& browser) {
  static WindowContext context;
  context = WindowContext{&state, auto_mode, &browser};
  WNDCLASSEXW window_class{};
  window_class.cbSize = sizeof(window_class);
  window_class.lpfnWndProc = WindowProc;
  window_class.hInstance = instance;
  window_class.hIcon = LoadIconW(instance, MAKEINTRESOURCEW(1));
  window_class.hCursor = LoadCursorW(nullptr, IDC_ARROW);
  window_class.hbrBackground = CreateSolidBrush(RGB(12, 10, 8));
  window_class.lpszClassName = kClassName;
  RegisterClassExW(&window_class);

  const UINT dpi = GetDpiForSystem();
  const int width = MulDiv(kWidth96, static_cast<int>(dpi), 96);
  const int height = MulDiv(kHeight96, static_cast<int>(dpi), 96);
  const int x = (GetSystemMetrics(SM_CXSCREEN) - width) / 2;
  const int y = (GetSystemMetrics(SM_CYSCREEN) - height) / 2;
  HWND window = CreateWindowExW(WS_EX_APPWINDOW, kClassName, L"Valdren", WS_POPUP | WS_SYSMENU | WS_MINIMIZEBOX, x, y,
                                width, height, nullptr, nullptr, instance, &context);
  g_main_window.store(window);
  ShowWindow(window, show);
  UpdateWindow(window);
  return window;
}

HWND MainWindow() { return g_main_window.load(); }

void PostToPage(const std::string& json) {
  HWND window = g_main_window.load();
  if (window == nullptr) return;
  auto text = std::make_unique<std::wstring>(Utf8ToWide(json));
  // Ownership passes with a successful post; otherwise the copy is ours to free.
  if (PostMessageW(window, kWmAppPostJson, 0, reinterpret_cast<LPARAM>(text.get()))) text.release();
}

}  // namespace orv
