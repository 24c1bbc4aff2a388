#include "host/webview2/runtime_loader.h"

#include <array>
#include <optional>
#include <vector>

#include "core/paths.h"

namespace orv {

namespace {

constexpr std::array<const wchar_t*, 4> kChannels = {
    L"{F3017226-FE2A-4295-8BDF-00C3A9A7E4C5}",  // stable
    L"{2CD8A007-E189-409D-A2C8-9AF4EF3C72AA}",  // beta
    L"{0D50BFEC-CD6A-4F9A-964C-C7416E3ACB10}",  // dev
    L"{65C35B14-6C1D-4122-AC46-7148CC9D6497}",  // canary
};
constexpr wchar_t kClientState[] = L"Software\\Microsoft\\EdgeUpdate\\ClientState\\";
constexpr wchar_t kClients[] = L"Software\\Microsoft\\EdgeUpdate\\Clients\\";
constexpr wchar_t kPolicies[] = L"Software\\Policies\\Microsoft\\Edge\\WebView2\\";
constexpr wchar_t kClientDll[] = L"\\EBWebView\\x64\\EmbeddedBrowserWebView.dll";
constexpr int kRuntimeInstalled = 0;
constexpr int kRuntimeFixed = 1;

class RegKey {
 public:
  RegKey(HKEY root, const std::wstring& path, REGSAM view) {
    if (RegOpenKeyExW(root, path.c_str(), 0, KEY_QUERY_VALUE | view, &key_) != ERROR_SUCCESS) key_ = nullptr;
  }
  ~RegKey() {
    if (key_ != nullptr) RegCloseKey(key_);
  }
  RegKey(const RegKey&) = delete;
  RegKey& operator=(const RegKey&) = delete;

  // A string value, or a DWORD written as decimal text; nullopt when missing or of another type.
  [[nodiscard]] std::optional<std::wstring> Text(const wchar_t* name) const {
    if (key_ == nullptr) return std::nullopt;
    DWORD type = 0;
    DWORD size = 0;
    if (RegQueryValueExW(key_, name, nullptr, &type, nullptr, &size) != ERROR_SUCCESS) return std::nullopt;
    if (type == REG_DWORD && size == sizeof(DWORD)) {
      DWORD number = 0;
      if (RegQueryValueExW(key_, name, nullptr, nullptr, reinterpret_cast<BYTE*>(&number), &size) != ERROR_SUCCESS) {
        return std::nullopt;
      }
      return std::to_wstring(number);
    }
    if (type != REG_SZ && type != REG_EXPAND_SZ) return std::nullopt;
    std::vector<wchar_t> buffer(size / sizeof(wchar_t) + 1, L'\0');
    if (RegQueryValueExW(key_, name, nullptr, nullptr, reinterpret_cast<BYTE*>(buffer.data()), &size) !=
        ERROR_SUCCESS) {
      return std::nullopt;
    }
    return std::wstring(buffer.data());  // stops at the terminator, present or not
  }

 private:
  HKEY key_ = nullptr;
};

std::optional<std::wstring> EnvironmentText(const wchar_t* name) {
  const DWORD size = GetEnvironmentVariableW(name, nullptr, 0);
  if (size == 0) return std::nullopt;
  std::wstring value(size, L'\0');
  const DWORD written = GetEnvironmentVariableW(name, value.data(), size);
  if (written == 0 || written >= size) return std::nullopt;
  value.resize(written);
  return value;
}

// A policy for this executable: HKLM before HKCU, the executable's own name before "*".
std::optional<std::wstring> PolicyText(const wchar_t* policy) {
  const std::wstring exe_name = GetModulePath().filename().wstring();
  for (HKEY root : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER}) {
    const RegKey key(root, std::wstring(kPolicies) + policy, 0);
    for (const std::wstring& name : {exe_name, std::wstring(L"*")}) {
      if (auto value = key.Text(name.c_str()); value && !value->empty()) return value;
    }
  }
  return std::nullopt;
}

// Policies are the administrator's word, so they outrank the environment.
std::optional<std::wstring> Override(const wchar_t* policy, const wchar_t* variable) {
  if (auto value = PolicyText(policy)) return value;
  if (auto value = EnvironmentText(variable); value && !value->empty()) return value;
  return std::nullopt;
}

bool FileExists(const std::wstring& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

std::wstring StripTrailingSeparators(std::wstring folder) {
  while (folder.size() > 3 && (folder.back() == L'\\' || folder.back() == L'/')) folder.pop_back();
  return folder;
}

bool IsVersionText(const std::wstring& text) {
  int dots = 0;
  bool digit = false;
  for (wchar_t ch : text) {
    if (ch == L'.') {
      if (!digit) return false;
      ++dots;
      digit = false;
    } else if (ch >= L'0' && ch <= L'9') {
      digit = true;
    } else {
      return false;
    }
  }
  return digit && dots == 3;
}

bool PathIsRelativeLike(const std::wstring& path) {
  const bool drive = path.size() >= 3 && path[1] == L':' && (path[2] == L'\\' || path[2] == L'/');
  const bool rooted = !path.empty() && (path[0] == L'\\' || path[0] == L'/');
  return !drive && !rooted;
}

bool FixedRuntime(std::wstring folder, WebView2Runtime& runtime, std::string& reason) {
  folder = StripTrailingSeparators(folder);
  if (PathIsRelativeLike(folder)) folder = (GetModuleFolder() / folder).wstring();
  runtime.folder = folder;
  runtime.client_dll = folder + kClientDll;
  runtime.fixed = true;
  // A fixed runtime is the vendor's version folder copied as a whole; its name is the version.
  const size_t cut = folder.find_last_of(L"\\/");
  runtime.version = cut == std::wstring::npos ? folder : folder.substr(cut + 1);
  if (!FileExists(runtime.client_dll)) {
    reason = "runtime indicado sem a biblioteca do cliente";
    return false;
  }
  if (!IsVersionText(runtime.version)) {
    reason = "versao do runtime indicado desconhecida";
    return false;
  }
  return true;
}

bool InstalledRuntime(HKEY root, const wchar_t* channel, WebView2Runtime& runtime) {
  const RegKey state(root, std::wstring(kClientState) + channel, KEY_WOW64_32KEY);
  const RegKey clients(root, std::wstring(kClients) + channel, KEY_WOW64_32KEY);
  const auto folder = state.Text(L"EBWebView");
  const auto version = clients.Text(L"pv");
  if (!folder || folder->empty() || !version || version->empty() || *version == L"0.0.0.0") return false;
  runtime.folder = StripTrailingSeparators(*folder);
  runtime.client_dll = runtime.folder + kClientDll;
  runtime.version = *version;
  runtime.fixed = false;
  return FileExists(runtime.client_dll);
}

}  // namespace

bool FindWebView2Runtime(WebView2Runtime& runtime, std::string& reason) {
  if (const auto folder = Override(L"BrowserExecutableFolder", L"WEBVIEW2_BROWSER_EXECUTABLE_FOLDER")) {
    return FixedRuntime(*folder, runtime, reason);
  }
  const auto preference = Override(L"ReleaseChannelPreference", L"WEBVIEW2_RELEASE_CHANNEL_PREFERENCE");
  const bool reversed = preference && *preference == L"1";
  for (size_t i = 0; i < kChannels.size(); ++i) {
    const wchar_t* channel = kChannels[reversed ? kChannels.size() - 1 - i : i];
    for (HKEY root : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER}) {
      if (InstalledRuntime(root, channel, runtime)) return true;
    }
  }
  reason = "runtime do WebView2 nao encontrado";
  return false;
}

HRESULT GetAvailableWebView2Version(LPWSTR* version) {
  if (version == nullptr) return E_POINTER;
  *version = nullptr;
  WebView2Runtime runtime;
  std::string reason;
  if (!FindWebView2Runtime(runtime, reason)) return HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);
  const size_t bytes = (runtime.version.size() + 1) * sizeof(wchar_t);
  auto* text = static_cast<wchar_t*>(CoTaskMemAlloc(bytes));
  if (text == nullptr) return E_OUTOFMEMORY;
  CopyMemory(text, runtime.version.c_str(), bytes);
  *version = text;
  return S_OK;
}

std::wstring EffectiveUserDataFolder(const std::wstring& requested) {
  if (auto folder = Override(L"UserDataFolder", L"WEBVIEW2_USER_DATA_FOLDER")) return *folder;
  return requested;
}

HRESULT CreateWebView2Environment(LPCWSTR user_data_folder, WebView2EnvironmentCompleted* handler) {
  if (handler == nullptr) return E_POINTER;
  WebView2Runtime runtime;
  std::string reason;
  if (!FindWebView2Runtime(runtime, reason)) return HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);
  // Altered search path: the library's own dependencies come from its folder, never from ours.
  HMODULE library = LoadLibraryExW(runtime.client_dll.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
  if (library == nullptr) return HRESULT_FROM_WIN32(GetLastError());
  using CreateFn = HRESULT(STDAPICALLTYPE*)(bool, int, PCWSTR, IUnknown*, WebView2EnvironmentCompleted*);
  using CanUnloadFn = HRESULT(STDAPICALLTYPE*)();
  const auto create = reinterpret_cast<CreateFn>(
      reinterpret_cast<void*>(GetProcAddress(library, "CreateWebViewEnvironmentWithOptionsInternal")));
  const auto can_unload =
      reinterpret_cast<CanUnloadFn>(reinterpret_cast<void*>(GetProcAddress(library, "DllCanUnloadNow")));
  if (create == nullptr) {
    FreeLibrary(library);
    return HRESULT_FROM_WIN32(ERROR_PROC_NOT_FOUND);
  }
  const std::wstring folder = EffectiveUserDataFolder(user_data_folder != nullptr ? user_data_folder : L"");
  const HRESULT result = create(true, runtime.fixed ? kRuntimeFixed : kRuntimeInstalled,
                                folder.empty() ? nullptr : folder.c_str(), nullptr, handler);
  // Objects of the library (and the pending completion) live in its code: unload only when it agrees.
  if (can_unload != nullptr && can_unload() == S_OK) FreeLibrary(library);
  return result;
}

}  // namespace orv
