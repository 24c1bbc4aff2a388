// Our own declarations of the browser control's COM interfaces, limited to what the launcher calls.
// Each interface lists every vtable slot up to the last one we use, in order; slots we never call are
// placeholders (never called, so their parameters do not matter). The IIDs and slot numbers come
// from the vendor's published interface definitions; the test runtime builds its vtables from slot
// numbers alone, so a slot declared out of place here fails the host's tests.
#pragma once

#include <windows.h>
#include <eventtoken.h>
#include <objbase.h>

namespace orv {

// COM objects are destroyed through Release, never through a destructor call, and a virtual
// destructor would add a vtable slot: the warning about its absence does not apply here.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

#define ORV_WV2_SLOT(n) virtual HRESULT STDMETHODCALLTYPE Slot##n() = 0
#define ORV_WV2_IID(name, l, w1, w2, b0, b1, b2, b3, b4, b5, b6, b7) \
  inline constexpr GUID name = {l, w1, w2, {b0, b1, b2, b3, b4, b5, b6, b7}}

ORV_WV2_IID(kIidEnvironment, 0xB96D755E, 0x0319, 0x4E92, 0xA2, 0x96, 0x23, 0x43, 0x6F, 0x46, 0xA1, 0xFC);
ORV_WV2_IID(kIidController, 0x4D00C0D1, 0x9434, 0x4EB6, 0x80, 0x78, 0x86, 0x97, 0xA5, 0x60, 0x33, 0x4F);
ORV_WV2_IID(kIidWebView, 0x76ECEACB, 0x0462, 0x4D94, 0xAC, 0x83, 0x42, 0x3A, 0x67, 0x93, 0x77, 0x5E);
ORV_WV2_IID(kIidWebView2, 0x9E8F0CF8, 0xE670, 0x4B5E, 0xB2, 0xBC, 0x73, 0xE0, 0x61, 0xE3, 0x18, 0x4C);
ORV_WV2_IID(kIidWebView3, 0xA0D6DF20, 0x3B92, 0x416D, 0xAA, 0x0C, 0x43, 0x7A, 0x9C, 0x72, 0x78, 0x57);
ORV_WV2_IID(kIidSettings, 0xE562E4F0, 0xD7FA, 0x43AC, 0x8D, 0x71, 0xC0, 0x51, 0x50, 0x49, 0x9F, 0x00);
ORV_WV2_IID(kIidWebMessageArgs, 0x0F99A40C, 0xE962, 0x4207, 0x9E, 0x8E, 0x07, 0x89, 0x8E, 0xA0, 0x1E, 0xCB);
ORV_WV2_IID(kIidNewWindowArgs, 0x34ACB11C, 0xFC37, 0x4418, 0x91, 0x32, 0xF9, 0xC2, 0x1D, 0x1E, 0xAF, 0xB9);
ORV_WV2_IID(kIidEnvironmentCompleted, 0x4E8A3389, 0xC9D8, 0x4BD2, 0xB6, 0xB5, 0x12, 0x4F, 0xEE, 0x6C, 0xC1, 0x4D);
ORV_WV2_IID(kIidControllerCompleted, 0x6C4819F3, 0xC9B7, 0x4260, 0x81, 0x27, 0xC9, 0xF5, 0xBD, 0xE7, 0xF6, 0x8C);
ORV_WV2_IID(kIidWebMessageHandler, 0x57213F19, 0x00E6, 0x49FA, 0x8E, 0x07, 0x89, 0x8E, 0xA0, 0x1E, 0xCB, 0xD2);
ORV_WV2_IID(kIidNewWindowHandler, 0xD4C185FE, 0xC81C, 0x4989, 0x97, 0xAF, 0x2D, 0x3F, 0xA7, 0xAB, 0x56, 0x51);

// How a mapped virtual host may be reached: DENY_CORS lets the page load its own files but refuses
// fetches from other origins.
enum WebView2HostAccessKind : int { kHostAccessDeny = 0, kHostAccessAllow = 1, kHostAccessDenyCors = 2 };

struct WebView2Controller;
struct WebView2;
struct WebView2Environment;
struct WebView2Settings;
struct WebView2WebMessageArgs;
struct WebView2NewWindowArgs;

struct WebView2EnvironmentCompleted : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE Invoke(HRESULT result, WebView2Environment* environment) = 0;
};
struct WebView2ControllerCompleted : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE Invoke(HRESULT result, WebView2Controller* controller) = 0;
};
struct WebView2WebMessageHandler : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE Invoke(WebView2* sender, WebView2WebMessageArgs* args) = 0;
};
struct WebView2NewWindowHandler : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE Invoke(WebView2* sender, WebView2NewWindowArgs* args) = 0;
};

struct WebView2Environment : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE CreateCoreWebView2Controller(HWND parent, WebView2ControllerCompleted* handler) = 0;
};

struct WebView2Controller : IUnknown {
  ORV_WV2_SLOT(3);
  ORV_WV2_SLOT(4);
  ORV_WV2_SLOT(5);
  virtual HRESULT STDMETHODCALLTYPE put_Bounds(RECT bounds) = 0;  // 6: by value
  ORV_WV2_SLOT(7);
  ORV_WV2_SLOT(8);
  ORV_WV2_SLOT(9);
  ORV_WV2_SLOT(10);
  ORV_WV2_SLOT(11);
  ORV_WV2_SLOT(12);
  ORV_WV2_SLOT(13);
  ORV_WV2_SLOT(14);
  ORV_WV2_SLOT(15);
  ORV_WV2_SLOT(16);
  ORV_WV2_SLOT(17);
  ORV_WV2_SLOT(18);
  ORV_WV2_SLOT(19);
  ORV_WV2_SLOT(20);
  ORV_WV2_SLOT(21);
  ORV_WV2_SLOT(22);
  ORV_WV2_SLOT(23);
  virtual HRESULT STDMETHODCALLTYPE Close() = 0;                            // 24
  virtual HRESULT STDMETHODCALLTYPE get_CoreWebView2(WebView2** view) = 0;  // 25
};

struct WebView2 : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE get_Settings(WebView2Settings** settings) = 0;  // 3
  ORV_WV2_SLOT(4);
  virtual HRESULT STDMETHODCALLTYPE Navigate(LPCWSTR uri) = 0;  // 5
  ORV_WV2_SLOT(6);
  ORV_WV2_SLOT(7);
  ORV_WV2_SLOT(8);
  ORV_WV2_SLOT(9);
  ORV_WV2_SLOT(10);
  ORV_WV2_SLOT(11);
  ORV_WV2_SLOT(12);
  ORV_WV2_SLOT(13);
  ORV_WV2_SLOT(14);
  ORV_WV2_SLOT(15);
  ORV_WV2_SLOT(16);
  ORV_WV2_SLOT(17);
  ORV_WV2_SLOT(18);
  ORV_WV2_SLOT(19);
  ORV_WV2_SLOT(20);
  ORV_WV2_SLOT(21);
  ORV_WV2_SLOT(22);
  ORV_WV2_SLOT(23);
  ORV_WV2_SLOT(24);
  ORV_WV2_SLOT(25);
  ORV_WV2_SLOT(26);
  ORV_WV2_SLOT(27);
  ORV_WV2_SLOT(28);
  ORV_WV2_SLOT(29);
  ORV_WV2_SLOT(30);
  ORV_WV2_SLOT(31);
  virtual HRESULT STDMETHODCALLTYPE PostWebMessageAsJson(LPCWSTR json) = 0;  // 32
  ORV_WV2_SLOT(33);
  virtual HRESULT STDMETHODCALLTYPE add_WebMessageReceived(WebView2WebMessageHandler* handler,
                                                           EventRegistrationToken* token) = 0;  // 34
  ORV_WV2_SLOT(35);
  ORV_WV2_SLOT(36);
  ORV_WV2_SLOT(37);
  ORV_WV2_SLOT(38);
  ORV_WV2_SLOT(39);
  ORV_WV2_SLOT(40);
  ORV_WV2_SLOT(41);
  ORV_WV2_SLOT(42);
  ORV_WV2_SLOT(43);
  virtual HRESULT STDMETHODCALLTYPE add_NewWindowRequested(WebView2NewWindowHandler* handler,
                                                           EventRegistrationToken* token) = 0;  // 44
  ORV_WV2_SLOT(45);
  ORV_WV2_SLOT(46);
  ORV_WV2_SLOT(47);
  ORV_WV2_SLOT(48);
  ORV_WV2_SLOT(49);
  ORV_WV2_SLOT(50);
  ORV_WV2_SLOT(51);
  ORV_WV2_SLOT(52);
  ORV_WV2_SLOT(53);
  ORV_WV2_SLOT(54);
  ORV_WV2_SLOT(55);
  ORV_WV2_SLOT(56);
  ORV_WV2_SLOT(57);
  ORV_WV2_SLOT(58);
  ORV_WV2_SLOT(59);
  ORV_WV2_SLOT(60);
};

// The second and third versions of the view only add slots after the first one's last (60).
struct WebView2V2 : WebView2 {
  ORV_WV2_SLOT(61);
  ORV_WV2_SLOT(62);
  ORV_WV2_SLOT(63);
  ORV_WV2_SLOT(64);
  ORV_WV2_SLOT(65);
  ORV_WV2_SLOT(66);
  ORV_WV2_SLOT(67);
};
struct WebView2V3 : WebView2V2 {
  ORV_WV2_SLOT(68);
  ORV_WV2_SLOT(69);
  ORV_WV2_SLOT(70);
  virtual HRESULT STDMETHODCALLTYPE SetVirtualHostNameToFolderMapping(LPCWSTR host_name, LPCWSTR folder,
                                                                      WebView2HostAccessKind access) = 0;  // 71
};

struct WebView2Settings : IUnknown {
  ORV_WV2_SLOT(3);
  ORV_WV2_SLOT(4);
  ORV_WV2_SLOT(5);
  ORV_WV2_SLOT(6);
  ORV_WV2_SLOT(7);
  ORV_WV2_SLOT(8);
  ORV_WV2_SLOT(9);
  virtual HRESULT STDMETHODCALLTYPE put_IsStatusBarEnabled(BOOL enabled) = 0;  // 10
  ORV_WV2_SLOT(11);
  virtual HRESULT STDMETHODCALLTYPE put_AreDevToolsEnabled(BOOL enabled) = 0;  // 12
  ORV_WV2_SLOT(13);
  virtual HRESULT STDMETHODCALLTYPE put_AreDefaultContextMenusEnabled(BOOL enabled) = 0;  // 14
  ORV_WV2_SLOT(15);
  ORV_WV2_SLOT(16);
  ORV_WV2_SLOT(17);
  virtual HRESULT STDMETHODCALLTYPE put_IsZoomControlEnabled(BOOL enabled) = 0;  // 18
};

struct WebView2WebMessageArgs : IUnknown {
  ORV_WV2_SLOT(3);
  ORV_WV2_SLOT(4);
  // E_INVALIDARG when the page posted something other than a string; free with CoTaskMemFree.
  virtual HRESULT STDMETHODCALLTYPE TryGetWebMessageAsString(LPWSTR* message) = 0;  // 5
};

struct WebView2NewWindowArgs : IUnknown {
  ORV_WV2_SLOT(3);
  ORV_WV2_SLOT(4);
  ORV_WV2_SLOT(5);
  virtual HRESULT STDMETHODCALLTYPE put_Handled(BOOL handled) = 0;  // 6
};

#pragma GCC diagnostic pop

#undef ORV_WV2_SLOT
#undef ORV_WV2_IID

}  // namespace orv
