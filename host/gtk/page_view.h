// The browser view that shows the page: the window.chrome.webview twin, the page's private origin,
// the lockdown (no menus, zoom, developer tools, new windows or navigation away), and delivery of
// host messages from any thread.
#pragma once

#include <webkit2/webkit2.h>

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

namespace orv {

// Gets the text of every string the page posts, on the main thread. Other values never reach it.
using PageMessageHandler = std::function<void(std::string_view)>;

// Makes the view, serving the page from `ui_folder`, and starts loading index.html. Main thread.
[[nodiscard]] WebKitWebView* CreatePageView(const std::filesystem::path& ui_folder, PageMessageHandler on_message);

// Hands one JSON text to the page as a "message" event whose data is the parsed value. Safe from
// any thread; delivered in posting order on the main loop, and dropped while no view exists.
void PostToPage(const std::string& json);

// The script that gives the page window.chrome.webview (exposed for the tests of its text).
[[nodiscard]] std::string_view BridgeScript();

}  // namespace orv
