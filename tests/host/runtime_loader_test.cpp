// The runtime loader under Wine, against registry values each test writes into the private prefix
// (per-machine values in the 32-bit view, where the vendor's installer puts them), and the stand-in
// runtime's client library in test folders.
#include <gtest/gtest.h>

#include <windows.h>
#include <objbase.h>

#include <filesystem>
#include <string>

#include "core/paths.h"
#include "host/webview2/com_ref.h"
#include "host/webview2/runtime_loader.h"
#include "support/registry_win.h"
#include "support/temp_dir.h"

namespace orv {

namespace {

namespace fs = std::filesystem;

constexpr wchar_t kStable[] = L"{F3017226-FE2A-4295-8BDF-00C3A9A7E4C5}";
constexpr wchar_t kBeta[] = L"{2CD8A007-E189-409D-A2C8-9AF4EF3C72AA}";
constexpr wchar_t kCanary[] = L"{65C35B14-6C1D-4122-AC46-7148CC9D6497}";

// An installed runtime in a folder named after its version, with the stand-in library in place.
fs::path MakeRuntimeFolder(const fs::path& root, const std::wstring& version) {
  const fs::path folder = root / version;
  fs::create_directories(folder / L"EBWebView" / L"x64");
  const fs::path dll = PathFromUtf8(std::getenv("ORV_STANDIN_DLL") != nullptr ? std::getenv("ORV_STANDIN_DLL") : "");
  EXPECT_TRUE(fs::exists(dll)) << "ORV_STANDIN_DLL";
  fs::copy_file(dll, folder / L"EBWebView" / L"x64" / L"EmbeddedBrowserWebView.dll",
                fs::copy_options::overwrite_existing);
  return folder;
}

enum class Scope { kMachine32, kMachine64, kUser };

// `folder` as the runtime of `channel`, with the version `pv` ("-": no version value at all).
void Register(Scope scope, const wchar_t* channel, const fs::path& folder, const std::wstring& pv) {
  const HKEY root = scope == Scope::kUser ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE;
  const REGSAM view = scope == Scope::kMachine64 ? KEY_WOW64_64KEY : KEY_WOW64_32KEY;
  const std::wstring base = L"Software\\Microsoft\\EdgeUpdate\\";
  ASSERT_TRUE(SetRegistryText(root, base + L"ClientState\\" + channel, L"EBWebView", folder.wstring(), view));
  if (pv != L"-") {
    ASSERT_TRUE(SetRegistryText(root, base + L"Clients\\" + channel, L"pv", pv, view));
  }
}

const std::wstring kPolicies = L"Software\\Policies\\Microsoft\\Edge\\WebView2";

const char* const kVariables[] = {"WEBVIEW2_BROWSER_EXECUTABLE_FOLDER", "WEBVIEW2_USER_DATA_FOLDER",
                                  "WEBVIEW2_RELEASE_CHANNEL_PREFERENCE"};

class RuntimeLoaderTest : public ::testing::Test {
 protected:
  void SetUp() override { Clean(); }
  void TearDown() override { Clean(); }

  static void Clean() {
    DeleteKeyEverywhere(L"Software\\Microsoft\\EdgeUpdate");
    DeleteKeyEverywhere(kPolicies.c_str());
    for (const char* name : kVariables) SetEnvironmentVariableA(name, nullptr);
  }

  static WebView2Runtime Found() {
    WebView2Runtime runtime;
    std::string reason;
    EXPECT_TRUE(FindWebView2Runtime(runtime, reason)) << reason;
    return runtime;
  }

  TempDir temp_;
};

TEST_F(RuntimeLoaderTest, NothingInstalledMeansNoVersion) {
  LPWSTR version = reinterpret_cast<LPWSTR>(1);
  EXPECT_EQ(GetAvailableWebView2Version(&version), HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
  EXPECT_EQ(version, nullptr);

  // A folder without a usable version, or without the client library, is not a runtime either.
  const fs::path folder = MakeRuntimeFolder(temp_.path(), L"120.0.1.2");
  Register(Scope::kUser, kStable, folder, L"-");
  Register(Scope::kUser, kBeta, folder, L"");
  Register(Scope::kUser, kCanary, folder, L"0.0.0.0");
  Register(Scope::kMachine32, kStable, temp_.path() / L"sem-biblioteca", L"1.2.3.4");
  WebView2Runtime runtime;
  std::string reason;
  EXPECT_FALSE(FindWebView2Runtime(runtime, reason));
  EXPECT_EQ(reason, "runtime do WebView2 nao encontrado");
}

TEST_F(RuntimeLoaderTest, VersionTextComesFromTheClientsKeyAndIsCoTaskMemAllocated) {
  const fs::path folder = MakeRuntimeFolder(temp_.path(), L"130.0.2849.80");
  Register(Scope::kUser, kStable, folder, L"130.0.2849.80");
  LPWSTR version = nullptr;
  ASSERT_EQ(GetAvailableWebView2Version(&version), S_OK);
  EXPECT_STREQ(version, L"130.0.2849.80");
  CoTaskMemFree(version);
  const WebView2Runtime runtime = Found();
  EXPECT_EQ(runtime.client_dll, folder.wstring() + L"\\EBWebView\\x64\\EmbeddedBrowserWebView.dll");
  EXPECT_FALSE(runtime.fixed);
}

TEST_F(RuntimeLoaderTest, PerMachineBeforePerUserAndOnlyIn32BitView) {
  const fs::path machine = MakeRuntimeFolder(temp_.path() / L"m", L"120.0.0.1");
  const fs::path user = MakeRuntimeFolder(temp_.path() / L"u", L"121.0.0.1");
  Register(Scope::kUser, kStable, user, L"121.0.0.1");
  // Written into the 64-bit view only: the vendor's installer never puts it there, so it is not seen.
  Register(Scope::kMachine64, kStable, machine, L"120.0.0.1");
  EXPECT_EQ(Found().version, L"121.0.0.1");
  Register(Scope::kMachine32, kStable, machine, L"120.0.0.1");
  EXPECT_EQ(Found().version, L"120.0.0.1");
}

TEST_F(RuntimeLoaderTest, ChannelOrderComesBeforeInstallScopeAndCanBeReversed) {
  const fs::path stable = MakeRuntimeFolder(temp_.path() / L"s", L"120.0.0.1");
  const fs::path beta = MakeRuntimeFolder(temp_.path() / L"b", L"122.0.0.1");
  const fs::path canary = MakeRuntimeFolder(temp_.path() / L"c", L"124.0.0.1");
  Register(Scope::kMachine32, kBeta, beta, L"122.0.0.1");
  Register(Scope::kUser, kStable, stable, L"120.0.0.1");
  EXPECT_EQ(Found().version, L"120.0.0.1");  // stable per-user beats beta per-machine

  Register(Scope::kUser, kCanary, canary, L"124.0.0.1");
  SetEnvironmentVariableW(L"WEBVIEW2_RELEASE_CHANNEL_PREFERENCE", L"1");
  EXPECT_EQ(Found().version, L"124.0.0.1");
  SetEnvironmentVariableW(L"WEBVIEW2_RELEASE_CHANNEL_PREFERENCE", L"0");
  EXPECT_EQ(Found().version, L"120.0.0.1");

  // A policy for every executable reverses the order too, and outranks the variable.
  ASSERT_TRUE(SetRegistryNumber(HKEY_CURRENT_USER, kPolicies + L"\\ReleaseChannelPreference", L"*", 1));
  EXPECT_EQ(Found().version, L"124.0.0.1");
}

TEST_F(RuntimeLoaderTest, BrowserFolderFromVariableOrPolicyReplacesTheSearch) {
  const fs::path installed = MakeRuntimeFolder(temp_.path() / L"i", L"120.0.0.1");
  Register(Scope::kUser, kStable, installed, L"120.0.0.1");
  const fs::path fixed = MakeRuntimeFolder(temp_.path() / L"f", L"119.0.5.6");
  SetEnvironmentVariableW(L"WEBVIEW2_BROWSER_EXECUTABLE_FOLDER", (fixed.wstring() + L"\\").c_str());
  WebView2Runtime runtime = Found();
  EXPECT_TRUE(runtime.fixed);
  EXPECT_EQ(runtime.version, L"119.0.5.6");
  EXPECT_EQ(runtime.folder, fixed.wstring());

  // A named folder without the library is an error, not a reason to search further.
  SetEnvironmentVariableW(L"WEBVIEW2_BROWSER_EXECUTABLE_FOLDER", (temp_.path() / L"vazia").c_str());
  std::string reason;
  EXPECT_FALSE(FindWebView2Runtime(runtime, reason));
  EXPECT_EQ(reason, "runtime indicado sem a biblioteca do cliente");

  // The policy for this executable's name wins over the variable; relative folders start beside it.
  const fs::path beside = GetModuleFolder() / L"runtime-teste";
  const fs::path relative = MakeRuntimeFolder(beside, L"118.1.2.3");
  ASSERT_TRUE(SetRegistryText(HKEY_LOCAL_MACHINE, kPolicies + L"\\BrowserExecutableFolder",
                              GetModulePath().filename().c_str(), L"runtime-teste\\118.1.2.3"));
  runtime = Found();
  EXPECT_EQ(runtime.version, L"118.1.2.3");
  EXPECT_EQ(runtime.folder, relative.wstring());
  fs::remove_all(beside);
}

TEST_F(RuntimeLoaderTest, UserDataFolderOverrides) {
  EXPECT_EQ(EffectiveUserDataFolder(L"C:\\dados"), L"C:\\dados");
  SetEnvironmentVariableW(L"WEBVIEW2_USER_DATA_FOLDER", L"C:\\variavel");
  EXPECT_EQ(EffectiveUserDataFolder(L"C:\\dados"), L"C:\\variavel");
  ASSERT_TRUE(SetRegistryText(HKEY_CURRENT_USER, kPolicies + L"\\UserDataFolder", L"*", L"C:\\politica"));
  EXPECT_EQ(EffectiveUserDataFolder(L"C:\\dados"), L"C:\\politica");
}

// Environment creation through the client library: asynchronous, on the calling STA thread.
TEST_F(RuntimeLoaderTest, EnvironmentCompletesLaterThroughTheMessageLoop) {
  const fs::path folder = MakeRuntimeFolder(temp_.path(), L"120.0.0.9");
  Register(Scope::kUser, kStable, folder, L"120.0.0.9");
  SetEnvironmentVariableW(L"WEBVIEW2_USER_DATA_FOLDER", L"C:\\udf-teste");

  ASSERT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)));
  int calls = 0;
  HRESULT seen = E_FAIL;
  bool got_environment = false;
  {
    auto handler = MakeHandler<WebView2EnvironmentCompleted, HRESULT, WebView2Environment*>(
        kIidEnvironmentCompleted, [&](HRESULT result, WebView2Environment* environment) {
          ++calls;
          seen = result;
          got_environment = environment != nullptr;
          return S_OK;
        });
    ASSERT_EQ(CreateWebView2Environment(L"C:\\pedido", handler.get()), S_OK);
    EXPECT_EQ(calls, 0);  // never inside the call
  }
  for (int i = 0; i < 200 && calls == 0; ++i) {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
    Sleep(10);
  }
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(seen, S_OK);
  EXPECT_TRUE(got_environment);
  // The library is still loaded: it said it could not be unloaded while its objects live.
  EXPECT_NE(GetModuleHandleW((folder / L"EBWebView\\x64\\EmbeddedBrowserWebView.dll").c_str()), nullptr);
  const std::string calls_made = ReadTestFile(folder / L"EBWebView\\x64\\chamadas.txt");
  EXPECT_NE(calls_made.find("criar-ambiente checar=1 tipo=0 dados=C:\\udf-teste opcoes=nao\n"), std::string::npos)
      << calls_made;
  EXPECT_NE(calls_made.find("DllCanUnloadNow nao"), std::string::npos) << calls_made;
  CoUninitialize();
}

}  // namespace

}  // namespace orv
