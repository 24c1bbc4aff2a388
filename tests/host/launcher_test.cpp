// The real OrvLauncher.exe under Wine and Xvfb, with the stand-in browser runtime installed the way a
// real one is found (a registered folder holding the client library). The stand-in records every call
// the launcher makes and plays the page from files this test writes; the channel comes from nginx (or
// the fault server), published by orvpack. Run by run-launcher-tests.sh, in a Wine prefix of its own.
//
//   ORV_LAUNCHER     OrvLauncher.exe          ORV_STANDIN_DLL  the stand-in's client library
//   ORV_TEST_HELPER  launcher_helper.exe      ORV_UI_DIR       the source ui folder
#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "core/file_util.h"
#include "core/game_folder.h"
#include "core/json.h"
#include "core/paths.h"
#include "host/game_room_commands.h"
#include "host/page_messages.h"
#include "support/fake_host.h"
#include "support/game_folder_view.h"
#include "support/noise_bytes.h"
#include "support/registry_win.h"
#include "support/temp_dir.h"
#include "test_servers.h"
#include "tools/orvpack/publish.h"
#include "update/http_client.h"
#include "update/update_run.h"

namespace orv {

namespace {

namespace fs = std::filesystem;
using Files = std::map<std::string, std::string>;

constexpr char kRuntimeVersion[] = "120.0.2210.91";
constexpr char kNowhere[] = "http://127.0.0.1:9/canal/manifest.json";

fs::path FromEnvironment(const char* name) {
  const char* value = std::getenv(name);
  EXPECT_NE(value, nullptr) << name;
  return PathFromUtf8(value != nullptr ? value : "");
}

std::string ReadOr(const fs::path& path, std::string fallback = "") {
  std::string text;
  return ReadWholeFile(path, text) ? text : fallback;
}

// Reads a file another process is appending to, without ever blocking its writes.
std::string ReadShared(const fs::path& path) {
  HANDLE file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                            OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return {};
  std::string text;
  char buffer[65536];
  DWORD got = 0;
  while (ReadFile(file, buffer, sizeof(buffer), &got, nullptr) && got > 0) text.append(buffer, got);
  CloseHandle(file);
  return text;
}

bool WaitUntil(const std::function<bool()>& done, int milliseconds = 20000) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
  while (!done()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  return true;
}

// The window is `width` x `height` and centred on the primary screen.
void ExpectCentred(HWND window, int width, int height) {
  RECT rect{};
  GetWindowRect(window, &rect);
  EXPECT_EQ(rect.right - rect.left, width);
  EXPECT_EQ(rect.bottom - rect.top, height);
  EXPECT_EQ(rect.left, (GetSystemMetrics(SM_CXSCREEN) - width) / 2);
  EXPECT_EQ(rect.top, (GetSystemMetrics(SM_CYSCREEN) - height) / 2);
}

class LauncherTest : public ::testing::Test {
 protected:
  void SetUp() override {
    SetProcessDpiAwarenessContext(DPI_AWARENESS_CONTEXT_PER_MONITOR_AWARE_V2);
    DeleteKeyEverywhere(L"Software\\Microsoft\\EdgeUpdate");
    std::error_code ignored;
    fs::remove_all(data_, ignored);
    fs::create_directories(data_);
    fs::create_directories(app_);
    fs::create_directories(game_);
    fs::copy_file(FromEnvironment("ORV_LAUNCHER"), exe_);
    WriteTestFile(data_ / "pastajogo.txt", PathToUtf8(game_));
    // The runtime's version folder with the stand-in's library in place.
    fs::create_directories(client_folder_);
    fs::copy_file(FromEnvironment("ORV_STANDIN_DLL"), client_folder_ / L"EmbeddedBrowserWebView.dll");
  }

  void TearDown() override {
    if (process_ != nullptr) {
      if (WaitForSingleObject(process_, 0) == WAIT_TIMEOUT) TerminateProcess(process_, 99);
      WaitForSingleObject(process_, 5000);
      CloseHandle(process_);
    }
  }

  // A registered runtime and launcher.json naming the channel `manifest_url` (by default one nobody
  // serves, for tests of the window and the page alone).
  void Prepare(const std::string& manifest_url = kNowhere) {
    ASSERT_TRUE(RegisterRuntimePerUser(runtime_.wstring(), runtime_.filename().wstring()));
    WriteLauncherJson(manifest_url);
  }
  void WriteLauncherJson(const std::string& manifest_url) {
    WriteTestFile(app_ / "launcher.json", R"({"canais":[{"id":"teste","nome":"Teste","manifesto":)" +
                                              JsonQuote(manifest_url) + R"(}],"discord":"","site":""})");
  }

  void Start(const std::wstring& arguments = L"") {
    std::wstring command = L"\"" + exe_.wstring() + L"\"" + (arguments.empty() ? L"" : L" " + arguments);
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION info{};
    ASSERT_TRUE(CreateProcessW(exe_.c_str(), command.data(), nullptr, nullptr, FALSE, 0, nullptr, app_.c_str(),
                               &startup, &info));
    CloseHandle(info.hThread);
    process_ = info.hProcess;
  }

  // Starts the launcher and waits until the page is navigated to; false when it never is.
  [[nodiscard]] bool StartPage(const std::wstring& arguments = L"") {
    Start(arguments);
    return WaitForCall("view.Navigate");
  }

  // The exit code, or -1 when the launcher is still running after `milliseconds`.
  int WaitExit(DWORD milliseconds = 20000) {
    if (WaitForSingleObject(process_, milliseconds) != WAIT_OBJECT_0) return -1;
    DWORD code = 0;
    GetExitCodeProcess(process_, &code);
    CloseHandle(process_);
    process_ = nullptr;
    return static_cast<int>(code);
  }

  [[nodiscard]] std::vector<std::string> Calls() const {
    std::vector<std::string> lines;
    const std::string text = ReadShared(client_folder_ / "chamadas.txt");
    size_t start = 0;
    for (size_t end; (end = text.find('\n', start)) != std::string::npos; start = end + 1) {
      lines.push_back(text.substr(start, end - start));
    }
    return lines;
  }
  bool WaitForCall(const std::string& prefix, int milliseconds = 20000) const {
    const auto made = [&](const std::string& line) { return line.rfind(prefix, 0) == 0; };
    return WaitUntil([&] { return std::ranges::any_of(Calls(), made); }, milliseconds);
  }
  // What the launcher delivered to the page, in order.
  [[nodiscard]] std::vector<std::string> Delivered() const {
    std::vector<std::string> messages;
    const std::string prefix = "view.PostWebMessageAsJson ";
    for (const std::string& line : Calls()) {
      if (line.rfind(prefix, 0) == 0) messages.push_back(line.substr(prefix.size()));
    }
    return messages;
  }
  // Waits for a delivered "estado" of a final phase after the first `skip` messages; its text or "".
  std::string WaitForFinalEstado(size_t skip, int milliseconds = 60000) const {
    std::string found;
    WaitUntil(
        [&] {
          const auto messages = Delivered();
          for (size_t i = skip; i < messages.size(); ++i) {
            for (const char* fase : {"pronto", "desatualizado", "erro", "parado", "reiniciar"}) {
              if (messages[i].find(std::string("\"fase\":\"") + fase + "\"") != std::string::npos) {
                found = messages[i];
                return true;
              }
            }
          }
          return false;
        },
        milliseconds);
    return found;
  }

  // The page does something: "texto:<s>", "objeto:<json>" or "janela:<uri>".
  void Page(const std::string& action) {
    const fs::path inbox = client_folder_ / "pagina";
    fs::create_directories(inbox);
    const std::string name = std::to_string(1000 + ++page_actions_);  // taken in name order
    WriteTestFile(inbox / (name + ".tmp"), action);
    fs::rename(inbox / (name + ".tmp"), inbox / (name + ".txt"));
  }
  void Command(const std::string& json) { Page("texto:" + json); }
  // The page's close button: the launcher ends normally.
  void CloseFromPage() {
    Command(R"({"cmd":"fechar"})");
    EXPECT_EQ(WaitExit(), 0);
  }
  // Starts a run as the page's main button does and returns how many messages came before it. The
  // final "estado" of a run goes out just before the run clears its busy flag, and a command that
  // arrives in between is dropped (as in the product): send it again until the run answers.
  size_t RunFromPage(const std::string& json) {
    const size_t seen = Delivered().size();
    for (int attempt = 0; attempt < 20; ++attempt) {
      Command(json);
      if (WaitUntil([&] { return Delivered().size() > seen; }, 1000)) break;
    }
    return seen;
  }
  // The page's "pronto" (start-up and a verification) and its final "estado", or "".
  std::string Ready() {
    Command(R"({"cmd":"pronto"})");
    return WaitForFinalEstado(0);
  }
  // An update from the page's main button and its final "estado", or "".
  std::string UpdateFromPage() { return WaitForFinalEstado(RunFromPage(R"({"cmd":"atualizar"})")); }

  [[nodiscard]] std::string LogText() const { return ReadOr(data_ / "launcher.log"); }

  // Publishes `files` as version `versao` of a channel in `served` and returns the manifest's URL.
  std::string Publish(const TestServer& server, ServedFolder& served, const Files& files, const std::string& versao,
                      const fs::path& launcher = {}) {
    const fs::path build = work_.path() / ("build-" + versao);
    for (const auto& [name, bytes] : files) WriteTestFile(JoinRelative(build, name), bytes);
    PublishOptions options;
    options.build = build;
    options.channel = served.path() / "canal";
    options.versao = versao;
    options.servidor = "teste";
    options.launcher = launcher;
    if (!launcher.empty()) options.launcher_versao = "1.2.6";
    PublishSummary summary;
    std::string error;
    EXPECT_TRUE(PublishChannel(options, {}, nullptr, summary, error)) << error;
    return server.base_url + served.UrlPath("canal/manifest.json");
  }

  HWND MainWindowOfLauncher() const { return FindWindowW(L"OrvLauncher", L"Valdren"); }

  TempDir work_;
  const fs::path data_ = GetDataFolder();
  const fs::path app_ = work_.path() / "app";
  const fs::path exe_ = app_ / "OrvLauncher.exe";
  const fs::path game_ = work_.path() / "jogo";
  const fs::path runtime_ = work_.path() / "runtime" / kRuntimeVersion;
  const fs::path client_folder_ = runtime_ / "EBWebView" / "x64";
  HANDLE process_ = nullptr;
  int page_actions_ = 0;
};

// The settings object as the game room reads it from this prefix's settings files.
std::optional<std::string> SettingsOfTheGameRoom() {
  FakeWindow window;
  EngineState state;
  GameRoomCommands game(
      state, [](const std::string&) {}, window);
  return game.SettingsJson();
}

// The page's files the executable carries.
const char* const kPageFiles[] = {"index.html", "app.js", "estilo.css", "icone.png", "logo.png"};

const Files kVersion1 = {{"jogo.exe", std::string(70000, 'a') + "v1"}, {"dados/mapa.pak", "mapa 1"}};

// ---- The executable's resources

// Its page files are compared with the source where they are written out at start-up.
TEST(LauncherExecutable, CarriesAnIconInSeveralSizesAndItsVersion) {
  const fs::path exe = FromEnvironment("ORV_LAUNCHER");
  HMODULE module = LoadLibraryExW(exe.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE);
  ASSERT_NE(module, nullptr);
  // Icon 1: a group of several sizes, the smallest 16 and the largest 128 pixels.
  HRSRC group = FindResourceW(module, MAKEINTRESOURCEW(1), MAKEINTRESOURCEW(14));  // RT_GROUP_ICON
  ASSERT_NE(group, nullptr);
  const auto* directory = static_cast<const BYTE*>(LockResource(LoadResource(module, group)));
  const int count = directory[4] | (directory[5] << 8);
  EXPECT_GE(count, 4);
  std::vector<int> sizes;
  for (int i = 0; i < count; ++i) sizes.push_back(directory[6 + 14 * i] == 0 ? 256 : directory[6 + 14 * i]);
  EXPECT_EQ(*std::min_element(sizes.begin(), sizes.end()), 16);
  EXPECT_EQ(*std::max_element(sizes.begin(), sizes.end()), 128);
  FreeLibrary(module);

  // The version record says 1.2.5.
  DWORD ignored = 0;
  std::vector<BYTE> info(GetFileVersionInfoSizeW(exe.c_str(), &ignored));
  ASSERT_FALSE(info.empty());
  ASSERT_TRUE(GetFileVersionInfoW(exe.c_str(), 0, static_cast<DWORD>(info.size()), info.data()));
  VS_FIXEDFILEINFO* fixed = nullptr;
  UINT length = 0;
  ASSERT_TRUE(VerQueryValueW(info.data(), L"\\", reinterpret_cast<void**>(&fixed), &length));
  EXPECT_EQ(fixed->dwFileVersionMS, (1u << 16) | 2u);
  EXPECT_EQ(fixed->dwFileVersionLS, 5u << 16);
  wchar_t* text = nullptr;
  ASSERT_TRUE(VerQueryValueW(info.data(), L"\\StringFileInfo\\041604B0\\ProductVersion",
                             reinterpret_cast<void**>(&text), &length));
  EXPECT_STREQ(text, L"1.2.5");
}

// ---- Start-up, the window and the browser chain

TEST_F(LauncherTest, StartsTheWindowAndTheBrowserChainAndServesThePage) {
  Prepare();
  ASSERT_TRUE(StartPage()) << LogText();

  const std::string log = LogText();
  EXPECT_NE(log.find("] OrvLauncher 1.2.5 iniciado\r\n"), std::string::npos) << log;
  EXPECT_NE(log.find(std::string("] WebView2 ") + kRuntimeVersion + "\r\n"), std::string::npos) << log;

  // Borderless, 1100 x 640 at 96 DPI, centred on the primary screen.
  HWND window = MainWindowOfLauncher();
  ASSERT_NE(window, nullptr);
  ExpectCentred(window, 1100, 640);
  const auto style = static_cast<DWORD>(GetWindowLongW(window, GWL_STYLE));
  EXPECT_EQ(style & (WS_POPUP | WS_SYSMENU | WS_MINIMIZEBOX), DWORD{WS_POPUP | WS_SYSMENU | WS_MINIMIZEBOX});
  EXPECT_EQ(style & (WS_CAPTION | WS_THICKFRAME | WS_MAXIMIZEBOX), 0u);
  EXPECT_NE(static_cast<DWORD>(GetWindowLongW(window, GWL_EXSTYLE)) & WS_EX_APPWINDOW, 0u);
  RECT client{};
  GetClientRect(window, &client);

  // The whole chain, in order, with nothing called in a wrong slot, thread or interface.
  const std::string data = PathToUtf8(data_);
  const std::vector<std::string> expected = {
      "criar-ambiente checar=1 tipo=0 dados=" + data + "\\WebView2 opcoes=nao",
      "ambiente.CreateCoreWebView2Controller pai=",
      "controller.get_CoreWebView2",
      "controller.put_Bounds 0 0 " + std::to_string(client.right) + " " + std::to_string(client.bottom),
      "view.get_Settings",
      "settings.put_AreDevToolsEnabled 0",
      "settings.put_IsStatusBarEnabled 0",
      "settings.put_AreDefaultContextMenusEnabled 0",
      "settings.put_IsZoomControlEnabled 0",
      "view.SetVirtualHostNameToFolderMapping app.orvlauncher.invalid " + data + "\\ui 2",
      "view.add_WebMessageReceived",
      "view.add_NewWindowRequested",
      "view.Navigate https://app.orvlauncher.invalid/index.html",
  };
  const std::vector<std::string> calls = Calls();
  size_t next = 0;
  for (const std::string& line : calls) {
    EXPECT_EQ(line.find("slot"), std::string::npos) << line;
    EXPECT_EQ(line.find("errado"), std::string::npos) << line;
    // The parent window's class carries an icon (the stand-in looks at it from inside the process).
    if (line.rfind("ambiente.CreateCoreWebView2Controller", 0) == 0) {
      EXPECT_NE(line.find(" icone=1"), std::string::npos) << line;
    }
    if (next < expected.size() && line.rfind(expected[next], 0) == 0) ++next;
  }
  EXPECT_EQ(next, expected.size()) << "missing: " << (next < expected.size() ? expected[next] : "");
  EXPECT_EQ(client.right, 1100);
  EXPECT_EQ(client.bottom, 640);

  // A pop-up is refused; an object posted instead of a text is dropped (it would close the window).
  Page("janela:https://exemplo.invalid/popup");
  EXPECT_TRUE(WaitForCall("pagina.janela tratada=1"));
  Page(R"(objeto:{"cmd":"fechar"})");
  ASSERT_TRUE(WaitForCall("pagina.objeto"));
  EXPECT_EQ(WaitExit(1500), -1);
  CloseFromPage();
  // Controller and view were released at the end, controller first.
  const std::string all = ReadShared(client_folder_ / "chamadas.txt");
  EXPECT_NE(all.find("liberado controller\nliberado view\n"), std::string::npos) << all;
}

TEST_F(LauncherTest, AFailureAlongTheBrowserChainIsLoggedAndLeavesAnEmptyWindowThatCloses) {
  Prepare();
  for (const std::string step : {"ambiente", "controller"}) {
    WriteTestFile(client_folder_ / "falhar.txt", step);
    fs::remove(data_ / "launcher.log");
    Start();
    const std::string line = "] " + step + " do WebView2 falhou: 0x80004005\r\n";
    EXPECT_TRUE(WaitUntil([&] { return LogText().find(line) != std::string::npos; })) << LogText();
    HWND window = MainWindowOfLauncher();
    ASSERT_NE(window, nullptr);
    PostMessageW(window, WM_CLOSE, 0, 0);  // as Alt+F4 does
    EXPECT_EQ(WaitExit(), 0);
    EXPECT_FALSE(WaitForCall("view.Navigate", 0));
  }
}

TEST_F(LauncherTest, WindowScalesWithTheSystemDpi) {
  Prepare();
  SetRegistryNumber(HKEY_CURRENT_USER, L"Control Panel\\Desktop", L"LogPixels", 144);
  Start();
  const bool navigated = WaitForCall("view.Navigate");
  SetRegistryNumber(HKEY_CURRENT_USER, L"Control Panel\\Desktop", L"LogPixels", 96);
  ASSERT_TRUE(navigated);
  HWND window = MainWindowOfLauncher();
  ASSERT_NE(window, nullptr);
  ExpectCentred(window, 1650, 960);
  EXPECT_TRUE(WaitForCall("controller.put_Bounds 0 0 1650 960"));
  // The page's minimise button.
  Command(R"({"cmd":"minimizar"})");
  EXPECT_TRUE(WaitUntil([&] { return IsIconic(window) != FALSE; }, 5000));
  CloseFromPage();
}

TEST_F(LauncherTest, FolderPickerIsOwnedByTheWindowAndSavesOnlyAChosenFolder) {
  Prepare();
  const std::string chosen_before = ReadOr(data_ / "pastajogo.txt");
  ASSERT_TRUE(StartPage());
  HWND picker = nullptr;
  const auto open_picker = [&] {
    Command(R"({"cmd":"escolherPasta"})");
    return WaitUntil(
        [&] { return (picker = FindWindowW(nullptr, L"Selecione a pasta para instalar o Valdren")) != nullptr; });
  };
  ASSERT_TRUE(open_picker());
  EXPECT_EQ(GetWindow(picker, GW_OWNER), MainWindowOfLauncher());
  PostMessageW(picker, WM_COMMAND, IDCANCEL, 0);
  ASSERT_TRUE(WaitUntil([&] { return !IsWindow(picker); }, 5000));
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  EXPECT_TRUE(Delivered().empty());  // no "pasta", no notice, no run
  EXPECT_EQ(ReadOr(data_ / "pastajogo.txt"), chosen_before);

  // Chosen this time: the bridge gets the folder (what it then says and does is HostBridge's).
  const fs::path chosen = work_.path() / "outra pasta";
  fs::create_directories(chosen);
  ASSERT_TRUE(open_picker());
  // The name box exists once the dialog has finished building itself.
  HWND name_box = nullptr;
  ASSERT_TRUE(WaitUntil([&] {
    EnumChildWindows(
        picker,
        [](HWND child, LPARAM found) {
          wchar_t name[32] = {};
          GetClassNameW(child, name, 32);
          if (_wcsicmp(name, L"Edit") != 0 || !IsWindowVisible(child)) return TRUE;
          *reinterpret_cast<HWND*>(found) = child;
          return FALSE;
        },
        reinterpret_cast<LPARAM>(&name_box));
    return name_box != nullptr;
  }));
  SendMessageW(name_box, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(chosen.c_str()));
  PostMessageW(picker, WM_COMMAND, IDOK, 0);
  EXPECT_TRUE(WaitUntil([&] { return GameFolderFromText(ReadOr(data_ / "pastajogo.txt")) == chosen; }));
  CloseFromPage();
}

// ---- Without a runtime

TEST_F(LauncherTest, WithoutARuntimeAsksOnceAndEndsWithCodeOne) {
  WriteLauncherJson(kNowhere);
  Start(L"--autox");
  HWND box = nullptr;
  ASSERT_TRUE(WaitUntil([&] { return (box = FindWindowW(L"#32770", L"Valdren")) != nullptr; }));
  wchar_t text[512] = {};
  GetDlgItemTextW(box, 0xFFFF, text, 512);
  EXPECT_STREQ(text,
               L"O launcher precisa do Microsoft Edge WebView2 Runtime, que n\u00C3\u00A3o foi encontrado.\n\n"
               L"Abrir a p\u00C3\u00A1gina oficial de download?");
  EXPECT_NE(GetDlgItem(box, IDYES), nullptr);
  EXPECT_NE(GetDlgItem(box, IDNO), nullptr);
  EXPECT_EQ(MainWindowOfLauncher(), nullptr);  // asked before any window exists
  PostMessageW(box, WM_COMMAND, IDNO, 0);
  EXPECT_EQ(WaitExit(), 1);
  EXPECT_NE(LogText().find("] OrvLauncher 1.2.5 iniciado (--auto)\r\n"), std::string::npos) << LogText();
}

TEST_F(LauncherTest, InstallerBesideTheExecutableIsRunSilentlyAndTheLauncherGoesOn) {
  WriteLauncherJson(kNowhere);
  fs::copy_file(FromEnvironment("ORV_TEST_HELPER"), app_ / "MicrosoftEdgeWebview2Setup.exe");
  WriteTestFile(app_ / "instalar.txt", PathToUtf8(runtime_));
  ASSERT_TRUE(StartPage()) << LogText();
  EXPECT_EQ(ReadOr(app_ / "instalador.txt"), "/silent /install\n");
  EXPECT_EQ(LogText().find("] WebView2 "), std::string::npos);  // no version line after an install
  CloseFromPage();
}

// ---- The page's files

TEST_F(LauncherTest, ExtractedPageIsRewrittenAtEveryStartUnlessAUiFolderSitsBesideTheExecutable) {
  Prepare();
  WriteTestFile(data_ / "ui" / "index.html", "mudado");
  WriteTestFile(data_ / "ui" / "fundo.mp4", "video");
  ASSERT_TRUE(StartPage());
  const fs::path source = FromEnvironment("ORV_UI_DIR");
  for (const char* name : kPageFiles) {
    EXPECT_EQ(ReadOr(data_ / "ui" / name, "<ausente>"), ReadOr(source / name)) << name;
  }
  EXPECT_EQ(ReadOr(data_ / "ui" / "fundo.mp4"), "video");  // other files stay
  CloseFromPage();

  fs::remove(client_folder_ / "chamadas.txt");
  WriteTestFile(app_ / "ui" / "index.html", "<p>propria</p>");
  WriteTestFile(data_ / "ui" / "index.html", "mudado de novo");
  ASSERT_TRUE(StartPage());
  EXPECT_TRUE(
      WaitForCall("view.SetVirtualHostNameToFolderMapping app.orvlauncher.invalid " + PathToUtf8(app_ / "ui") + " 2"));
  EXPECT_EQ(ReadOr(data_ / "ui" / "index.html"), "mudado de novo");
  CloseFromPage();
}

// ---- The conversation with the page and the runs

TEST_F(LauncherTest, ProntoGetsStartupAndTheVerificationThenAtualizarUpdatesTheGame) {
  const TestServer nginx = NginxServer();
  ServedFolder served;
  const std::string url = Publish(nginx, served, kVersion1, "1.0");
  Prepare(url);

  // What the engine itself reports for this verification, on a twin of the game folder.
  std::vector<std::string> reference;
  {
    EngineState state;
    state.progress_sink = [&](const std::string& text) { reference.push_back(text); };
    Channel channel{"teste", "Teste", url, work_.path() / "gemeo"};
    UpdateEngine::Run(state, channel, false);
  }
  ASSERT_FALSE(reference.empty());

  ASSERT_TRUE(StartPage());
  ASSERT_NE(Ready(), "");
  std::vector<std::string> expected = {
      R"({"tipo":"inicio","versaoLauncher":"1.2.5","canais":[{"id":"teste","nome":"Teste"}],"canal":0,"pasta":)" +
      JsonQuote(PathToUtf8(ChannelFolder(game_, 0, "Teste"))) + R"(,"discord":"","site":""})"};
  expected.push_back(ConfigMessage(*SettingsOfTheGameRoom()));
  expected.insert(expected.end(), reference.begin(), reference.end());
  EXPECT_EQ(Delivered(), expected);

  // A second run in the same process: the page's main button.
  EXPECT_NE(UpdateFromPage().find(R"("fase":"pronto")"), std::string::npos);
  EXPECT_EQ(InstalledFiles(game_), kVersion1);

  CloseFromPage();
}

TEST_F(LauncherTest, AutoModeUpdatesAndClosesByItself) {
  const TestServer nginx = NginxServer();
  ServedFolder served;
  Prepare(Publish(nginx, served, kVersion1, "1.0"));
  ASSERT_TRUE(StartPage(L"--auto"));
  Command(R"({"cmd":"pronto"})");
  EXPECT_EQ(WaitExit(60000), 0);
  EXPECT_EQ(InstalledFiles(game_), kVersion1);
}

// That the next run resumes from the staging folder is the engine's (update_run_test, crash_safety_test).
TEST_F(LauncherTest, ClosingDuringARunEndsAtOnce) {
  const TestServer fault = FaultServer();
  ServedFolder served;
  // Incompressible, so each comes whole (no .orvz variant).
  const Files files = {{"a.bin", NoiseBytes(200000, 1)}, {"b.bin", NoiseBytes(300000, 2)}};
  Prepare(Publish(fault, served, files, "1.0"));
  const std::string a_path = served.UrlPath("canal/a.bin");
  const std::string b_path = served.UrlPath("canal/b.bin");
  // The second file stalls, so the player closes the window while its transfer is under way.
  std::string body;
  std::string reason;
  ASSERT_EQ(FetchToMemory(fault.base_url + "/arm/1/stall/60000" + b_path, body, reason), 200) << reason;

  ASSERT_TRUE(StartPage());
  ASSERT_NE(Ready().find(R"("fase":"desatualizado")"), std::string::npos);
  const size_t seen = RunFromPage(R"({"cmd":"atualizar"})");
  ASSERT_EQ(RequestsFor(fault, a_path, 1).size(), 1u);
  std::this_thread::sleep_for(std::chrono::milliseconds(1500));
  EXPECT_EQ(WaitForFinalEstado(seen, 0), "");  // still running
  PostMessageW(MainWindowOfLauncher(), WM_CLOSE, 0, 0);
  EXPECT_EQ(WaitExit(5000), 0);  // at once, without waiting for the stalled transfer
}

TEST_F(LauncherTest, NewerLauncherIsSwappedInByTheScriptAfterTheWindowCloses) {
  const TestServer nginx = NginxServer();
  ServedFolder served;
  const fs::path helper = FromEnvironment("ORV_TEST_HELPER");
  Prepare(Publish(nginx, served, kVersion1, "1.0", helper));
  ASSERT_TRUE(StartPage());
  ASSERT_NE(Ready(), "");
  EXPECT_NE(UpdateFromPage().find(R"("fase":"reiniciar")"), std::string::npos);
  // Not in automatic mode: the pending swap alone closes the window.
  EXPECT_EQ(WaitExit(), 0);
  ASSERT_TRUE(fs::exists(data_ / "troca.cmd"));
  // troca.cmd waits for the launcher to end, moves the new one over it and starts it.
  EXPECT_TRUE(WaitUntil([&] { return fs::exists(app_ / "novo-iniciado.txt"); }, 60000));
  EXPECT_EQ(ReadOr(exe_), ReadOr(helper));
  EXPECT_FALSE(fs::exists(app_ / "OrvLauncher.exe.novo"));
  EXPECT_EQ(InstalledFiles(game_), kVersion1);
}

}  // namespace

}  // namespace orv
