// Makes sure a browser runtime is installed before any window exists.
#pragma once

namespace orv {

// True when a runtime is available: found at once (logged as "WebView2 <version>"), or after running
// MicrosoftEdgeWebview2Setup.exe from beside the executable with "/silent /install". Otherwise asks
// the player, in a message box, whether to open the download page, and returns false.
[[nodiscard]] bool EnsureWebView2Runtime();

}  // namespace orv
