// OrvLauncher.exe: start-up in a fixed order, the message loop, and the release order at the end.
#include <windows.h>
#include <objbase.h>

#include <cwchar>

#include "core/engine_state.h"
#include "core/launcher_config.h"
#include "core/log.h"
#include "core/version.h"
#include "host/host_bridge.h"
#include "host/run_thread.h"
#include "host/win/browser_win.h"
#include "host/win/game_commands_factory.h"
#include "host/win/main_window_win.h"
#include "host/win/runtime_check.h"
#include "host/win/win_host_window.h"
#include "update/update_run.h"

using namespace orv;

int WINAPI wWinMain(HINSTANCE instance, HINSTANCE, PWSTR command_line, int show);

int WINAPI wWinMain(HINSTANCE instance, HINSTANCE, PWSTR command_line, int show) {
  // A plain substring: any word starting with --auto turns it on.
  const bool auto_mode = command_line != nullptr && std::wcsstr(command_line, L"--auto") != nullptr;
  CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  SetProcessDpiAwarenessContext(DPI_AWARENESS_CONTEXT_PER_MONITOR_AWARE_V2);
  Log("OrvLauncher %s iniciado%s", kLauncherVersion, auto_mode ? " (--auto)" : "");
  if (!EnsureWebView2Runtime()) return 1;

  LauncherConfig config = LoadLauncherConfig();
  EngineState state;
  state.progress_sink = PostToPage;

  HostBridge* bridge = nullptr;
  Browser browser([&bridge](const std::string& text) {
    if (bridge != nullptr) bridge->OnPageMessage(text);
  });
  HWND window = CreateMainWindow(instance, show, state, auto_mode, browser);

  WinHostWindow host_window(window);
  DetachedRunStarter runs(state, auto_mode, UpdateEngine::Run, [window] { PostMessageW(window, WM_CLOSE, 0, 0); });
  auto game = MakeGameCommands(state, host_window);
  HostBridge host_bridge(config, state, auto_mode, PostToPage, host_window, runs, *game);
  bridge = &host_bridge;

  browser.Start(window);
  MSG message;
  while (GetMessageW(&message, nullptr, 0, 0) > 0) {
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
  browser.Release();
  CoUninitialize();
  return 0;
}
