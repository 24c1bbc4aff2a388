// The borderless main window, its window procedure, and PostToPage, the one road from any thread to
// the page.
#pragma once

#include <windows.h>

#include <string>

#include "core/engine_state.h"
#include "host/win/browser_win.h"

namespace orv {

// Carries one heap UTF-16 JSON text (lParam) to the UI thread, which delivers and frees it.
inline constexpr UINT kWmAppPostJson = WM_APP + 1;
static_assert(kWmAppPostJson == 0x8001);

// Registers the class, creates the window (1100 x 640 at 96 DPI, scaled by the system DPI, centred on
// the primary screen), shows it with `show`. The state and browser must outlive the window.
HWND CreateMainWindow(HINSTANCE instance, int show, EngineState& state, bool auto_mode, Browser& browser);

// The main window once created; null before.
[[nodiscard]] HWND MainWindow();

// Sends one UTF-8 JSON text to the page, from any thread. Dropped when the window does not exist yet
// or the post fails (the copy is freed then).
void PostToPage(const std::string& json);

}  // namespace orv
