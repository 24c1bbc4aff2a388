// Finds an installed browser runtime and creates the browser environment from it, as the vendor's
// loader library does, so the launcher ships without that library.
//
// Where the runtime is looked for, first match wins:
//  1. a runtime folder named by policy (`BrowserExecutableFolder` under
//     Software\Policies\Microsoft\Edge\WebView2, HKLM then HKCU, value named after the executable's file
//     name or "*") or else by WEBVIEW2_BROWSER_EXECUTABLE_FOLDER; relative folders resolve against the
//     executable's folder; nothing else is tried when one is named;
//  2. the installed channels stable, beta, dev, canary (canary first when the
//     WEBVIEW2_RELEASE_CHANNEL_PREFERENCE variable, or else the `ReleaseChannelPreference` policy, is
//     "1"); per channel the per-machine install, then the per-user one: the folder is the `EBWebView`
//     value of Software\Microsoft\EdgeUpdate\ClientState\{channel}, the version the `pv` value of
//     ...\Clients\{channel} (missing, empty or 0.0.0.0: not installed), both read in the 32-bit view.
// A runtime counts only when its client library <folder>\EBWebView\x64\EmbeddedBrowserWebView.dll exists.
// The user-data folder is likewise replaced by the `UserDataFolder` policy or WEBVIEW2_USER_DATA_FOLDER.
#pragma once

#include <windows.h>

#include <string>

#include "host/webview2/webview2_com.h"

namespace orv {

struct WebView2Runtime {
  std::wstring folder;      // the runtime's version folder
  std::wstring client_dll;  // folder + \EBWebView\x64\EmbeddedBrowserWebView.dll
  std::wstring version;     // "120.0.2210.91"
  bool fixed = false;       // named by policy or environment, not an installed channel
};

// False (with a short reason) when no usable runtime is found.
[[nodiscard]] bool FindWebView2Runtime(WebView2Runtime& runtime, std::string& reason);

// The found runtime's version text, allocated with CoTaskMemAlloc (the caller frees it). With no runtime:
// HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND) and *version null.
HRESULT GetAvailableWebView2Version(LPWSTR* version);

// Loads the runtime's client library and asks it for an environment; `handler` is invoked later on
// this thread (which must be a single-threaded apartment). The library stays loaded while it says it
// cannot be unloaded. A failure returned here means the handler will not be called.
HRESULT CreateWebView2Environment(LPCWSTR user_data_folder, WebView2EnvironmentCompleted* handler);

// The user-data folder the runtime will be given for `requested` (policy and environment applied).
[[nodiscard]] std::wstring EffectiveUserDataFolder(const std::wstring& requested);

}  // namespace orv
