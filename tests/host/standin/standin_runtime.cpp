// A stand-in for the browser runtime's client library (EmbeddedBrowserWebView.dll), for the launcher's
// tests under Wine, where the real browser does not run. It is found and loaded exactly as the real
// one is, implements only what the launcher calls, and behaves like the browser where that matters:
// completions arrive later through the calling thread's message loop, calls need a single-threaded
// apartment and the creating thread, strings are handed out with CoTaskMemAlloc, invalid JSON is
// refused, and references are counted.
//
// Its vtables are built from slot numbers alone (no shared declarations with the launcher), so a
// method the launcher declared in the wrong slot lands on a stub that records "slot N".
//
// Beside the library (the runtime folder's EBWebView\x64):
//   chamadas.txt  every call, one UTF-8 line each, in order
//   pagina\       the page's script: files NNNN.txt, taken in name order after the navigation:
//                 "texto:<s>" posts the string s as the page would; "objeto:<json>" posts an object
//                 (not a string); "janela:<uri>" asks for a new window and records whether it was
//                 handled
//   falhar.txt    "ambiente" or "controller": that creation completes with E_FAIL and no object
#include <windows.h>
#include <eventtoken.h>
#include <objbase.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

// ---- Records

CRITICAL_SECTION g_record_lock;
std::wstring g_folder;  // the library's folder
DWORD g_ui_thread = 0;
HWND g_message_window = nullptr;
std::atomic<long> g_live_objects{0};
std::atomic<long> g_pending{0};

std::string Utf8(const std::wstring& text) {
  if (text.empty()) return {};
  const int size =
      WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0, nullptr, nullptr);
  std::string out(static_cast<size_t>(size), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), out.data(), size, nullptr, nullptr);
  return out;
}

std::wstring Wide(const std::string& text) {
  if (text.empty()) return {};
  const int size = MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
  std::wstring out(static_cast<size_t>(size), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), out.data(), size);
  return out;
}

void Record(const std::string& line) {
  EnterCriticalSection(&g_record_lock);
  // A test reading the record at this moment may hold it without write sharing: try again shortly.
  for (int attempt = 0; attempt < 500; ++attempt) {
    if (FILE* file = _wfopen((g_folder + L"\\chamadas.txt").c_str(), L"ab")) {
      std::fprintf(file, "%s\n", line.c_str());
      std::fclose(file);
      break;
    }
    Sleep(2);
  }
  LeaveCriticalSection(&g_record_lock);
}

// Calls from another thread than the one that created the environment fail as in the browser.
bool OnUiThread(const char* method) {
  if (GetCurrentThreadId() == g_ui_thread) return true;
  Record(std::string("thread-errado ") + method);
  return false;
}

// ---- A minimal JSON check: the browser refuses PostWebMessageAsJson with invalid JSON.

struct JsonCheck {
  const std::string& s;
  size_t i = 0;
  int depth = 0;
  void Space() {
    while (i < s.size() && (s[i] == ' ' || s[i] == '\t' || s[i] == '\n' || s[i] == '\r')) ++i;
  }
  bool Literal(const char* word) {
    const size_t n = std::strlen(word);
    if (s.compare(i, n, word) != 0) return false;
    i += n;
    return true;
  }
  bool String() {
    if (i >= s.size() || s[i] != '"') return false;
    for (++i; i < s.size(); ++i) {
      const auto ch = static_cast<unsigned char>(s[i]);
      if (ch == '"') return ++i, true;
      if (ch < 0x20) return false;
      if (ch == '\\') {
        if (++i >= s.size()) return false;
        if (s[i] == 'u') {
          for (int k = 0; k < 4; ++k) {
            if (++i >= s.size() || !std::isxdigit(static_cast<unsigned char>(s[i]))) return false;
          }
        } else if (std::strchr("\"\\/bfnrt", s[i]) == nullptr) {
          return false;
        }
      }
    }
    return false;
  }
  bool Number() {
    const size_t start = i;
    if (i < s.size() && s[i] == '-') ++i;
    while (i < s.size() && (std::isdigit(static_cast<unsigned char>(s[i])) || std::strchr(".eE+-", s[i]))) ++i;
    return i > start && std::isdigit(static_cast<unsigned char>(s[i - 1]));
  }
  bool Value() {
    if (++depth > 64) return false;
    Space();
    bool ok = false;
    if (i >= s.size()) return false;
    if (s[i] == '{' || s[i] == '[') {
      const char close = s[i] == '{' ? '}' : ']';
      const bool object = s[i] == '{';
      ++i;
      Space();
      if (i < s.size() && s[i] == close) {
        ++i;
        ok = true;
      } else {
        for (;;) {
          if (object) {
            Space();
            if (!String()) return false;
            Space();
            if (i >= s.size() || s[i++] != ':') return false;
          }
          if (!Value()) return false;
          Space();
          if (i < s.size() && s[i] == ',') {
            ++i;
            continue;
          }
          if (i < s.size() && s[i] == close) {
            ++i;
            ok = true;
          }
          break;
        }
      }
    } else if (s[i] == '"') {
      ok = String();
    } else {
      ok = Literal("true") || Literal("false") || Literal("null") || Number();
    }
    --depth;
    return ok;
  }
  bool Whole() {
    if (!Value()) return false;
    Space();
    return i == s.size();
  }
};

// ---- Objects with vtables built by slot number

constexpr int kSlots = 80;
using Vtable = std::array<void*, kSlots>;

// Not polymorphic in C++: the first member must be the COM vtable pointer. Each kind deletes itself
// through `destroy`.
struct Object {
  const Vtable* vtable;
  std::atomic<ULONG> refs{1};
  const char* name;
  std::vector<GUID> iids;
  void (*destroy)(Object*) = nullptr;
  Object(const Vtable* table, const char* object_name, std::vector<GUID> interface_ids)
      : vtable(table), name(object_name), iids(std::move(interface_ids)) {
    ++g_live_objects;
  }
  ~Object() { --g_live_objects; }
};

template <class T>
void DestroyAs(Object* object) {
  delete static_cast<T*>(object);
}

GUID Guid(unsigned long l, unsigned short w1, unsigned short w2, std::array<unsigned char, 8> b) {
  GUID g{l, w1, w2, {}};
  std::copy(b.begin(), b.end(), g.Data4);
  return g;
}

const GUID kIidUnknown = Guid(0, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46});
const GUID kEnvironment = Guid(0xB96D755E, 0x0319, 0x4E92, {0xA2, 0x96, 0x23, 0x43, 0x6F, 0x46, 0xA1, 0xFC});
const GUID kController = Guid(0x4D00C0D1, 0x9434, 0x4EB6, {0x80, 0x78, 0x86, 0x97, 0xA5, 0x60, 0x33, 0x4F});
const GUID kView = Guid(0x76ECEACB, 0x0462, 0x4D94, {0xAC, 0x83, 0x42, 0x3A, 0x67, 0x93, 0x77, 0x5E});
const GUID kView2 = Guid(0x9E8F0CF8, 0xE670, 0x4B5E, {0xB2, 0xBC, 0x73, 0xE0, 0x61, 0xE3, 0x18, 0x4C});
const GUID kView3 = Guid(0xA0D6DF20, 0x3B92, 0x416D, {0xAA, 0x0C, 0x43, 0x7A, 0x9C, 0x72, 0x78, 0x57});
const GUID kSettings = Guid(0xE562E4F0, 0xD7FA, 0x43AC, {0x8D, 0x71, 0xC0, 0x51, 0x50, 0x49, 0x9F, 0x00});
const GUID kMessageArgs = Guid(0x0F99A40C, 0xE962, 0x4207, {0x9E, 0x8E, 0x07, 0x89, 0x8E, 0xA0, 0x1E, 0xCB});
const GUID kNewWindowArgs = Guid(0x34ACB11C, 0xFC37, 0x4418, {0x91, 0x32, 0xF9, 0xC2, 0x1D, 0x1E, 0xAF, 0xB9});
const GUID kEnvironmentCompleted = Guid(0x4E8A3389, 0xC9D8, 0x4BD2, {0xB6, 0xB5, 0x12, 0x4F, 0xEE, 0x6C, 0xC1, 0x4D});
const GUID kControllerCompleted = Guid(0x6C4819F3, 0xC9B7, 0x4260, {0x81, 0x27, 0xC9, 0xF5, 0xBD, 0xE7, 0xF6, 0x8C});
const GUID kMessageHandler = Guid(0x57213F19, 0x00E6, 0x49FA, {0x8E, 0x07, 0x89, 0x8E, 0xA0, 0x1E, 0xCB, 0xD2});
const GUID kNewWindowHandler = Guid(0xD4C185FE, 0xC81C, 0x4989, {0x97, 0xAF, 0x2D, 0x3F, 0xA7, 0xAB, 0x56, 0x51});

HRESULT STDMETHODCALLTYPE QueryInterfaceImpl(Object* self, REFIID iid, void** out) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  if (IsEqualGUID(iid, kIidUnknown) ||
      std::any_of(self->iids.begin(), self->iids.end(), [&](const GUID& g) { return IsEqualGUID(g, iid); })) {
    ++self->refs;
    *out = self;
    return S_OK;
  }
  return E_NOINTERFACE;
}
ULONG STDMETHODCALLTYPE AddRefImpl(Object* self) { return ++self->refs; }
ULONG STDMETHODCALLTYPE ReleaseImpl(Object* self) {
  const ULONG left = --self->refs;
  if (left == 0) {
    Record(std::string("liberado ") + self->name);
    if (self->destroy != nullptr) {
      self->destroy(self);
    } else {
      delete self;
    }
  }
  return left;
}

template <int N>
HRESULT STDMETHODCALLTYPE Stub(Object* self) {
  Record(std::string(self->name) + ".slot" + std::to_string(N));
  return E_NOTIMPL;
}

template <size_t... N>
Vtable StubTable(std::index_sequence<N...>) {
  return Vtable{reinterpret_cast<void*>(&Stub<static_cast<int>(N)>)...};
}

template <class Method>
void* AsSlot(Method method) {
  return reinterpret_cast<void*>(method);
}

// IUnknown's three methods, `methods` by slot number, and a recording stub everywhere else.
Vtable TableWith(std::initializer_list<std::pair<int, void*>> methods) {
  Vtable table = StubTable(std::make_index_sequence<kSlots>{});
  table[0] = AsSlot(&QueryInterfaceImpl);
  table[1] = AsSlot(&AddRefImpl);
  table[2] = AsSlot(&ReleaseImpl);
  for (const auto& [slot, method] : methods) table[slot] = method;
  return table;
}

// ---- Calling the launcher's handlers (IUnknown + Invoke at slot 3)

// A completion gets (result, object); an event handler gets (sender, arguments).
template <class First, class Second>
HRESULT Invoke(IUnknown* handler, First first, Second second) {
  using Fn = HRESULT(STDMETHODCALLTYPE*)(IUnknown*, First, Second);
  return reinterpret_cast<Fn>((*reinterpret_cast<void***>(handler))[3])(handler, first, second);
}

bool HandlerHasIid(IUnknown* handler, const GUID& iid) {
  void* out = nullptr;
  if (FAILED(handler->QueryInterface(iid, &out)) || out == nullptr) return false;
  static_cast<IUnknown*>(out)->Release();
  return true;
}

// Completions run later, from the creating thread's message loop, never inside the call.
constexpr UINT kWmRun = WM_APP + 0x3A1;
void Later(std::function<void()> work) {
  ++g_pending;
  auto* job = new std::function<void()>(std::move(work));
  if (!PostMessageW(g_message_window, kWmRun, 0, reinterpret_cast<LPARAM>(job))) {
    delete job;
    --g_pending;
  }
}

std::string ReadAll(const std::wstring& path) {
  std::string content;
  if (FILE* file = _wfopen(path.c_str(), L"rb")) {
    char buffer[4096];
    size_t n;
    while ((n = std::fread(buffer, 1, sizeof(buffer), file)) > 0) content.append(buffer, n);
    std::fclose(file);
  }
  return content;
}

// Completes a creation later: the handler gets the object `make` builds, or E_FAIL and no object
// when falhar.txt beside the library names `step`.
void CompleteLater(IUnknown* handler, const char* step, std::function<Object*()> make) {
  handler->AddRef();
  Later([handler, step, make = std::move(make)] {
    Object* made = ReadAll(g_folder + L"\\falhar.txt").rfind(step, 0) == 0 ? nullptr : make();
    Invoke(handler, made != nullptr ? S_OK : E_FAIL, made);
    if (made != nullptr) ReleaseImpl(made);
    handler->Release();
  });
}

// ---- Settings

template <int Slot>
HRESULT STDMETHODCALLTYPE PutSetting(Object* self, BOOL value) {
  static const char* const kNames[] = {
      "put_IsStatusBarEnabled",  "?", "put_AreDevToolsEnabled", "?", "put_AreDefaultContextMenusEnabled", "?", "?", "?",
      "put_IsZoomControlEnabled"};
  if (!OnUiThread("settings")) return RPC_E_WRONG_THREAD;
  Record(std::string(self->name) + "." + kNames[Slot - 10] + " " + std::to_string(value));
  return S_OK;
}
const Vtable kSettingsTable = TableWith({{10, AsSlot(&PutSetting<10>)},
                                         {12, AsSlot(&PutSetting<12>)},
                                         {14, AsSlot(&PutSetting<14>)},
                                         {18, AsSlot(&PutSetting<18>)}});

// ---- Event arguments

HRESULT STDMETHODCALLTYPE TryGetWebMessageAsString(Object* self, LPWSTR* out);
const Vtable kMessageArgsTable = TableWith({{5, AsSlot(&TryGetWebMessageAsString)}});

struct MessageArgs : Object {
  MessageArgs(std::wstring text, bool is_string)
      : Object(&kMessageArgsTable, "mensagem", {kMessageArgs}), message(std::move(text)), string(is_string) {
    destroy = &DestroyAs<MessageArgs>;
  }
  std::wstring message;
  bool string;
};
HRESULT STDMETHODCALLTYPE TryGetWebMessageAsString(Object* self, LPWSTR* out) {
  auto* args = static_cast<MessageArgs*>(self);
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  Record("mensagem.TryGetWebMessageAsString");
  if (!args->string) return E_INVALIDARG;
  const size_t bytes = (args->message.size() + 1) * sizeof(wchar_t);
  *out = static_cast<LPWSTR>(CoTaskMemAlloc(bytes));
  std::memcpy(*out, args->message.c_str(), bytes);
  return S_OK;
}

HRESULT STDMETHODCALLTYPE PutHandled(Object* self, BOOL handled);
const Vtable kNewWindowArgsTable = TableWith({{6, AsSlot(&PutHandled)}});

struct NewWindowArgs : Object {
  NewWindowArgs() : Object(&kNewWindowArgsTable, "novaJanela", {kNewWindowArgs}) {
    destroy = &DestroyAs<NewWindowArgs>;
  }
  BOOL handled = FALSE;
};
HRESULT STDMETHODCALLTYPE PutHandled(Object* self, BOOL handled) {
  static_cast<NewWindowArgs*>(self)->handled = handled;
  Record("novaJanela.put_Handled " + std::to_string(handled));
  return S_OK;
}

// ---- The view (first, second and third versions in one vtable)

struct View;
View* g_view = nullptr;  // the page plays into this view

struct View : Object {
  View();
  ~View() {
    if (g_view == this) g_view = nullptr;
    for (IUnknown* h : message_handlers) h->Release();
    for (IUnknown* h : window_handlers) h->Release();
  }
  std::vector<IUnknown*> message_handlers;
  std::vector<IUnknown*> window_handlers;
  bool navigated = false;
};

HRESULT STDMETHODCALLTYPE GetSettings(Object* self, Object** out) {
  if (!OnUiThread("view.get_Settings")) return RPC_E_WRONG_THREAD;
  Record(std::string(self->name) + ".get_Settings");
  *out = new Object(&kSettingsTable, "settings", {kSettings});
  return S_OK;
}
HRESULT STDMETHODCALLTYPE Navigate(Object* self, LPCWSTR uri) {
  if (!OnUiThread("view.Navigate")) return RPC_E_WRONG_THREAD;
  Record("view.Navigate " + Utf8(uri != nullptr ? uri : L""));
  static_cast<View*>(self)->navigated = true;
  return S_OK;
}
HRESULT STDMETHODCALLTYPE PostWebMessageAsJson(Object*, LPCWSTR json) {
  if (!OnUiThread("view.PostWebMessageAsJson")) return RPC_E_WRONG_THREAD;
  const std::string text = Utf8(json != nullptr ? json : L"");
  JsonCheck check{text};
  if (!check.Whole()) {
    Record("view.PostWebMessageAsJson recusado " + text);
    return E_INVALIDARG;
  }
  Record("view.PostWebMessageAsJson " + text);
  return S_OK;
}
HRESULT AddHandler(std::vector<IUnknown*>& list, IUnknown* handler, EventRegistrationToken* token, const GUID& iid,
                   const char* what) {
  if (!OnUiThread(what)) return RPC_E_WRONG_THREAD;
  if (handler == nullptr || token == nullptr) return E_POINTER;
  Record(std::string(what) + (HandlerHasIid(handler, iid) ? "" : " iid-errado"));
  handler->AddRef();
  list.push_back(handler);
  token->value = static_cast<__int64>(list.size());
  return S_OK;
}
HRESULT STDMETHODCALLTYPE AddWebMessageReceived(Object* self, IUnknown* handler, EventRegistrationToken* token) {
  return AddHandler(static_cast<View*>(self)->message_handlers, handler, token, kMessageHandler,
                    "view.add_WebMessageReceived");
}
HRESULT STDMETHODCALLTYPE AddNewWindowRequested(Object* self, IUnknown* handler, EventRegistrationToken* token) {
  return AddHandler(static_cast<View*>(self)->window_handlers, handler, token, kNewWindowHandler,
                    "view.add_NewWindowRequested");
}
HRESULT STDMETHODCALLTYPE SetVirtualHostNameToFolderMapping(Object*, LPCWSTR host, LPCWSTR folder, int kind) {
  if (!OnUiThread("view.SetVirtualHostNameToFolderMapping")) return RPC_E_WRONG_THREAD;
  Record("view.SetVirtualHostNameToFolderMapping " + Utf8(host) + " " + Utf8(folder) + " " + std::to_string(kind));
  return S_OK;
}
const Vtable kViewTable = TableWith({{3, AsSlot(&GetSettings)},
                                     {5, AsSlot(&Navigate)},
                                     {32, AsSlot(&PostWebMessageAsJson)},
                                     {34, AsSlot(&AddWebMessageReceived)},
                                     {44, AsSlot(&AddNewWindowRequested)},
                                     {71, AsSlot(&SetVirtualHostNameToFolderMapping)}});
View::View() : Object(&kViewTable, "view", {kView, kView2, kView3}) { destroy = &DestroyAs<View>; }

// ---- Controller

HRESULT STDMETHODCALLTYPE PutBounds(Object* self, RECT bounds);
HRESULT STDMETHODCALLTYPE GetCoreWebView2(Object* self, Object** out);
const Vtable kControllerTable = TableWith({{6, AsSlot(&PutBounds)}, {25, AsSlot(&GetCoreWebView2)}});

struct Controller : Object {
  Controller() : Object(&kControllerTable, "controller", {kController}) { destroy = &DestroyAs<Controller>; }
  ~Controller() {
    if (view != nullptr) ReleaseImpl(view);
  }
  HWND child = nullptr;
  View* view = nullptr;
};
HRESULT STDMETHODCALLTYPE PutBounds(Object* self, RECT bounds) {
  if (!OnUiThread("controller.put_Bounds")) return RPC_E_WRONG_THREAD;
  Record("controller.put_Bounds " + std::to_string(bounds.left) + " " + std::to_string(bounds.top) + " " +
         std::to_string(bounds.right) + " " + std::to_string(bounds.bottom));
  auto* controller = static_cast<Controller*>(self);
  if (controller->child != nullptr) {
    MoveWindow(controller->child, bounds.left, bounds.top, bounds.right - bounds.left, bounds.bottom - bounds.top,
               TRUE);
  }
  return S_OK;
}
HRESULT STDMETHODCALLTYPE GetCoreWebView2(Object* self, Object** out) {
  if (!OnUiThread("controller.get_CoreWebView2")) return RPC_E_WRONG_THREAD;
  if (out == nullptr) return E_POINTER;
  Record("controller.get_CoreWebView2");
  auto* controller = static_cast<Controller*>(self);
  AddRefImpl(controller->view);
  *out = controller->view;
  return S_OK;
}

// ---- Environment

HRESULT STDMETHODCALLTYPE CreateController(Object*, HWND parent, IUnknown* handler) {
  if (!OnUiThread("ambiente.CreateCoreWebView2Controller")) return RPC_E_WRONG_THREAD;
  if (handler == nullptr) return E_POINTER;
  if (!IsWindow(parent)) return E_INVALIDARG;
  char line[128];
  std::snprintf(line, sizeof(line), "ambiente.CreateCoreWebView2Controller pai=%p icone=%d%s",
                static_cast<void*>(parent), GetClassLongPtrW(parent, GCLP_HICON) != 0 ? 1 : 0,
                HandlerHasIid(handler, kControllerCompleted) ? "" : " iid-errado");
  Record(line);
  CompleteLater(handler, "controller", [parent] {
    auto* controller = new Controller();
    // The browser's own child window, which the bounds move.
    controller->child = CreateWindowExW(0, L"STATIC", L"", WS_CHILD | WS_VISIBLE, 0, 0, 0, 0, parent, nullptr,
                                        GetModuleHandleW(nullptr), nullptr);
    controller->view = g_view = new View();
    return controller;
  });
  return S_OK;
}
const Vtable kEnvironmentTable = TableWith({{3, AsSlot(&CreateController)}});

// ---- The page's script

void PlayPage() {
  View* view = g_view;
  if (view == nullptr || !view->navigated) return;
  const std::wstring inbox = g_folder + L"\\pagina\\";
  WIN32_FIND_DATAW found;
  HANDLE search = FindFirstFileW((inbox + L"*.txt").c_str(), &found);
  if (search == INVALID_HANDLE_VALUE) return;
  std::vector<std::wstring> names;
  do {
    names.emplace_back(found.cFileName);
  } while (FindNextFileW(search, &found));
  FindClose(search);
  std::sort(names.begin(), names.end());
  for (const std::wstring& name : names) {
    const std::string content = ReadAll(inbox + name);
    DeleteFileW((inbox + name).c_str());
    AddRefImpl(view);
    if (content.rfind("texto:", 0) == 0 || content.rfind("objeto:", 0) == 0) {
      const bool is_string = content[0] == 't';
      auto* args = new MessageArgs(Wide(content.substr(is_string ? 6 : 7)), is_string);
      Record(std::string("pagina.") + (is_string ? "texto " : "objeto ") + content.substr(is_string ? 6 : 7));
      for (IUnknown* handler : view->message_handlers) Invoke<void*, void*>(handler, view, args);
      ReleaseImpl(args);
    } else if (content.rfind("janela:", 0) == 0) {
      auto* args = new NewWindowArgs();
      Record("pagina.janela " + content.substr(7));
      for (IUnknown* handler : view->window_handlers) Invoke<void*, void*>(handler, view, args);
      Record(std::string("pagina.janela tratada=") + (args->handled ? "1" : "0"));
      ReleaseImpl(args);
    }
    ReleaseImpl(view);
  }
}

LRESULT CALLBACK MessageWindowProc(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
  if (message == kWmRun) {
    std::unique_ptr<std::function<void()>> job(reinterpret_cast<std::function<void()>*>(lparam));
    (*job)();
    --g_pending;
    return 0;
  }
  if (message == WM_TIMER) {
    PlayPage();
    return 0;
  }
  return DefWindowProcW(window, message, wparam, lparam);
}

bool IsSingleThreadedApartment() {
  APTTYPE type;
  APTTYPEQUALIFIER qualifier;
  return SUCCEEDED(CoGetApartmentType(&type, &qualifier)) && (type == APTTYPE_STA || type == APTTYPE_MAINSTA);
}

}  // namespace

extern "C" __declspec(dllexport) HRESULT STDAPICALLTYPE
    CreateWebViewEnvironmentWithOptionsInternal(bool check_running_instance, int runtime_type, PCWSTR user_data_folder,
                                                IUnknown* options, IUnknown* handler);
extern "C" __declspec(dllexport) HRESULT STDAPICALLTYPE DllCanUnloadNow();
BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved);

extern "C" __declspec(dllexport) HRESULT STDAPICALLTYPE
    CreateWebViewEnvironmentWithOptionsInternal(bool check_running_instance, int runtime_type, PCWSTR user_data_folder,
                                                IUnknown* options, IUnknown* handler) {
  Record("criar-ambiente checar=" + std::to_string(check_running_instance) + " tipo=" + std::to_string(runtime_type) +
         " dados=" + Utf8(user_data_folder != nullptr ? user_data_folder : L"") +
         " opcoes=" + (options != nullptr ? "sim" : "nao") +
         (handler != nullptr && HandlerHasIid(handler, kEnvironmentCompleted) ? "" : " iid-errado"));
  if (handler == nullptr) return E_POINTER;
  if (!IsSingleThreadedApartment()) return CO_E_NOTINITIALIZED;
  if (g_message_window == nullptr) {
    g_ui_thread = GetCurrentThreadId();
    WNDCLASSW window_class{};
    window_class.lpfnWndProc = MessageWindowProc;
    window_class.hInstance = GetModuleHandleW(nullptr);
    window_class.lpszClassName = L"OrvStandinRuntime";
    RegisterClassW(&window_class);
    g_message_window = CreateWindowExW(0, window_class.lpszClassName, L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                                       window_class.hInstance, nullptr);
    SetTimer(g_message_window, 1, 50, nullptr);
  } else if (!OnUiThread("criar-ambiente")) {
    return RPC_E_WRONG_THREAD;
  }
  CompleteLater(handler, "ambiente", [] { return new Object(&kEnvironmentTable, "ambiente", {kEnvironment}); });
  return S_OK;
}

extern "C" __declspec(dllexport) HRESULT STDAPICALLTYPE DllCanUnloadNow() {
  const bool busy = g_live_objects.load() > 0 || g_pending.load() > 0 || g_message_window != nullptr;
  Record(std::string("DllCanUnloadNow ") + (busy ? "nao" : "sim"));
  return busy ? S_FALSE : S_OK;
}

BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
  if (reason == DLL_PROCESS_ATTACH) {
    InitializeCriticalSection(&g_record_lock);
    wchar_t path[MAX_PATH];
    const DWORD size = GetModuleFileNameW(instance, path, MAX_PATH);
    g_folder.assign(path, size);
    g_folder.resize(g_folder.find_last_of(L'\\'));
    Record("carregado");
  }
  return TRUE;
}
