// The game room against the real Windows functions under Wine: prerequisites read from the test
// prefix's registry (in its 64-bit view, where the runtime's installer writes) and system folder, the elevated
// installation, and real game starts of a stand-in that records its command line and working folder.
#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "core/file_util.h"
#include "core/paths.h"
#include "game/game_launch.h"
#include "game/prerequisites.h"
#include "launch_rig.h"
#include "support/game_folder_view.h"
#include "support/held_file.h"
#include "support/registry_win.h"
#include "update/swap_journal.h"

namespace orv {

namespace {

constexpr wchar_t kRuntimeKey[] = L"SOFTWARE\\Microsoft\\VisualStudio\\14.0\\VC\\Runtimes\\X64";

void DeleteRuntimeKey() { DeleteKeyEverywhere(kRuntimeKey); }

template <class Number>
void SetRuntimeValue(const wchar_t* name, DWORD type, Number value) {
  ASSERT_TRUE(SetRegistryValue(HKEY_LOCAL_MACHINE, kRuntimeKey, name, type, &value, sizeof(value), KEY_WOW64_64KEY));
}

// The runtime's four values as its installer writes them; a negative `bld` leaves that value out.
void WriteRuntime(DWORD installed, DWORD major, DWORD minor, int bld) {
  DeleteRuntimeKey();
  SetRuntimeValue(L"Installed", REG_DWORD, installed);
  SetRuntimeValue(L"Major", REG_DWORD, major);
  SetRuntimeValue(L"Minor", REG_DWORD, minor);
  if (bld >= 0) SetRuntimeValue(L"Bld", REG_DWORD, static_cast<DWORD>(bld));
}

std::filesystem::path GameInputDll() {
  wchar_t folder[260] = {};
  return std::wstring(folder, GetSystemDirectoryW(folder, 260)) + L"\\GameInput.dll";
}

void SetGameInput(bool present) {
  if (present) {
    ASSERT_TRUE(WriteWholeFile(GameInputDll(), "MZ"));
  } else {
    DeleteFileAt(GameInputDll());
  }
}

void CopyStandin(const std::filesystem::path& to) {
  const char* standin = std::getenv("ORV_GAME_STANDIN");
  std::string bytes;
  ASSERT_TRUE(standin != nullptr && ReadWholeFile(PathFromUtf8(standin), bytes)) << "ORV_GAME_STANDIN";
  ASSERT_TRUE(WriteWholeFile(to, bytes));
}

struct Record {
  std::string command_line;
  std::string folder;
};

// The records the stand-in left in `folder`, once `count` of them are there (or after a minute).
std::vector<Record> WaitForRecords(const std::filesystem::path& folder, size_t count) {
  std::vector<Record> records;
  for (int attempt = 0; attempt < 600; ++attempt) {
    records.clear();
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      const std::string name = PathToUtf8(entry.path().filename());
      if (name.rfind("chamada-", 0) != 0 || entry.path().extension() != ".txt") continue;
      std::string text;
      if (!ReadWholeFile(entry.path(), text)) continue;
      const size_t cut = text.find('\n');
      records.push_back({text.substr(0, cut), text.substr(cut + 1, text.size() - cut - 2)});
    }
    if (records.size() >= count) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  return records;
}

class WindowsPrerequisites : public ::testing::Test {
 protected:
  void TearDown() override {
    DeleteRuntimeKey();
    SetGameInput(false);
  }
  ScopedFolders folders_;
};

TEST_F(WindowsPrerequisites, RegistryValuesDecideTheRuntime) {
  SetGameInput(false);
  DeleteRuntimeKey();
  EXPECT_EQ(CheckPrerequisites(), MakePrerequisiteFlags(false, false)) << "no key";

  struct Case {
    DWORD installed, major, minor;
    int bld;
    bool present;
  };
  const Case cases[] = {{1, 14, 50, 35718, false}, {1, 14, 50, 35719, true}, {1, 14, 51, 0, true},
                        {1, 15, 0, 0, true},       {0, 15, 0, 0, false},     {1, 14, 49, 99999, false}};
  for (const Case& c : cases) {
    WriteRuntime(c.installed, c.major, c.minor, c.bld);
    EXPECT_EQ(VcRuntimePresent(CheckPrerequisites()), c.present)
        << c.installed << " " << c.major << "." << c.minor << "." << c.bld;
  }

  // A "Major" of eight bytes counts as missing, whatever it says.
  WriteRuntime(1, 15, 0, 0);
  SetRuntimeValue(L"Major", REG_QWORD, ULONGLONG{15});
  EXPECT_FALSE(VcRuntimePresent(CheckPrerequisites()));
  // So does a value that is not there at all.
  WriteRuntime(1, 15, 0, -1);
  EXPECT_FALSE(VcRuntimePresent(CheckPrerequisites()));

  WriteRuntime(1, 14, 50, 35719);
  SetGameInput(true);
  EXPECT_EQ(CheckPrerequisites(), MakePrerequisiteFlags(true, true));
  SetGameInput(false);
  EXPECT_EQ(CheckPrerequisites(), MakePrerequisiteFlags(true, false));
}

// The real system, with the script's text kept before it is started (and deleted).
class KeepingSystem final : public PrerequisiteSystem {
 public:
  PrerequisiteFlags Check() override { return SystemPrerequisites().Check(); }
  bool RunElevatedScript(const std::filesystem::path& script, std::uint32_t& error_code) override {
    EXPECT_TRUE(ReadWholeFile(script, script_text));
    return SystemPrerequisites().RunElevatedScript(script, error_code);
  }
  std::string script_text;
};

TEST_F(WindowsPrerequisites, ElevatedScriptInstallsTheRuntime) {
  // "runas" under Wine: no consent prompt; cmd.exe runs the script as an ordinary start.
  const std::filesystem::path game = folders_.root() / "Jogo";
  CopyStandin(VcRedistInstaller(game));
  DeleteRuntimeKey();
  SetGameInput(true);
  KeepingSystem system;
  std::string error;
  EXPECT_TRUE(InstallPrerequisites(game, error, system)) << error;
  const std::string installer = PathToUtf8(VcRedistInstaller(game));
  EXPECT_EQ(system.script_text, "@echo off\r\n\"" + installer + "\" /install /quiet /norestart\r\n");
  EXPECT_FALSE(PathExists(GetDataFolder() / "prereqs.cmd"));
  const auto records = WaitForRecords(VcRedistInstaller(game).parent_path(), 1);
  ASSERT_EQ(records.size(), 1u);
  EXPECT_NE(records[0].command_line.find("/install /quiet /norestart"), std::string::npos) << records[0].command_line;
  EXPECT_EQ(CheckPrerequisites(), MakePrerequisiteFlags(true, true));
  const std::string log = TakeLauncherLog();
  EXPECT_NE(log.find("] pre-requisitos: vc=0 gameinput=1, instalando\r\n"), std::string::npos) << log;
  EXPECT_NE(log.find("] pre-requisitos depois: vc=1 gameinput=1\r\n"), std::string::npos) << log;
}

TEST_F(WindowsPrerequisites, ScriptForEachCombination) {
  const std::filesystem::path game = folders_.root() / "Jogo";
  std::string error;
  KeepingSystem system;

  // Only GameInput missing: msiexec gets a package it cannot install, the second check decides.
  ASSERT_TRUE(WriteWholeFile(GameInputInstaller(game), "nao e um pacote"));
  std::filesystem::remove(VcRedistInstaller(game));
  WriteRuntime(1, 14, 50, 35719);
  EXPECT_FALSE(InstallPrerequisites(game, error, system));
  EXPECT_EQ(error, "o GameInput não foi instalado");
  EXPECT_EQ(system.script_text,
            "@echo off\r\nmsiexec /i \"" + PathToUtf8(GameInputInstaller(game)) + "\" /quiet /norestart\r\n");

  // Both missing, both installers there: both lines, the runtime's first.
  CopyStandin(VcRedistInstaller(game));
  DeleteRuntimeKey();
  EXPECT_FALSE(InstallPrerequisites(game, error, system));
  EXPECT_EQ(error, "o GameInput não foi instalado") << "the stand-in installed the runtime";
  EXPECT_EQ(system.script_text, "@echo off\r\n\"" + PathToUtf8(VcRedistInstaller(game)) +
                                    "\" /install /quiet /norestart\r\nmsiexec /i \"" +
                                    PathToUtf8(GameInputInstaller(game)) + "\" /quiet /norestart\r\n");
  EXPECT_NE(TakeLauncherLog().find("] pre-requisitos depois: vc=1 gameinput=0\r\n"), std::string::npos);
}

class WindowsLaunch : public ::testing::Test {
 protected:
  WindowsLaunch() : rig_(&SystemGameProcessStarter()) {
    folder_ = rig_.folders.root() / "Jogo com espaço e ação";
    rig_.config.canais[0].pasta = folder_;
  }
  void Play(const std::string& instancias, const std::string& mode) {
    LaunchRig::SetInstancesAndMode(instancias, mode);
    rig_.Play();
  }
  std::string Quoted() const { return "\"" + PathToUtf8(folder_ / "ORV2.exe") + "\""; }

  LaunchRig rig_;
  std::filesystem::path folder_;
};

TEST_F(WindowsLaunch, StartsEachInstanceQuotedInTheGameFolder) {
  CopyStandin(folder_ / "ORV2.exe");
  struct Case {
    const char* instancias;
    const char* mode;
    size_t starts;
    std::string arguments;
  };
  const Case cases[] = {{"1", "1", 1, " -windowed -ResX=1920 -ResY=1080"},
                        {"3", "0", 3, ""},
                        {"7", "2", 4, " -windowed -ResX=1920 -ResY=1080"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.instancias);
    for (const auto& entry : std::filesystem::directory_iterator(folder_)) {
      if (entry.path().extension() == ".txt") std::filesystem::remove(entry.path());
    }
    rig_.clock.sleeps_ms.clear();
    rig_.window.calls.clear();
    Play(c.instancias, c.mode);
    const auto records = WaitForRecords(folder_, c.starts);
    ASSERT_EQ(records.size(), c.starts);
    for (const Record& record : records) {
      EXPECT_EQ(record.command_line, Quoted() + c.arguments);
      EXPECT_EQ(record.folder, PathToUtf8(folder_));
    }
    std::vector<std::uint32_t> sleeps(c.starts - 1, 3000);
    sleeps.push_back(500);
    EXPECT_EQ(rig_.clock.sleeps_ms, sleeps);
    EXPECT_EQ(rig_.window.CloseRequests(), 1);
  }
  EXPECT_NE(TakeLauncherLog().find("] jogo aberto (4/4)\r\n"), std::string::npos);
}

TEST_F(WindowsLaunch, EveryStartFailingLeavesTheLauncherOpen) {
  ASSERT_TRUE(WriteWholeFile(folder_ / "ORV2.exe", "isto nao e um programa"));
  Play("2", "1");
  EXPECT_EQ(rig_.clock.sleeps_ms, std::vector<std::uint32_t>{3000});
  EXPECT_EQ(rig_.window.CloseRequests(), 0);
  const std::string log = TakeLauncherLog();
  EXPECT_NE(log.find("] CreateProcess falhou: "), std::string::npos) << log;
  EXPECT_EQ(log.find("jogo aberto"), std::string::npos) << log;
}

TEST_F(WindowsLaunch, AHeldFileKeepsTheUpdatePendingUntilReleased) {
  ASSERT_TRUE(WriteWholeFile(folder_ / "ORV2.exe", "antigo"));
  CopyStandin(JoinRelative(StagingFolder(folder_), "ORV2.exe"));
  SwapJournal::Write(folder_, {"ORV2.exe"});
  {
    HeldFile held;
    ASSERT_TRUE(held.Hold(folder_ / "ORV2.exe"));
    Play("1", "1");
    EXPECT_EQ(rig_.posted, std::vector<std::string>{"{\"tipo\":\"aviso\",\"texto\":\"Atualização pendente: nao "
                                                    "trocou ORV2.exe (o jogo esta aberto?)\"}"});
    EXPECT_TRUE(rig_.workers.empty());
  }
  rig_.posted.clear();
  Play("1", "1");
  EXPECT_EQ(rig_.posted, std::vector<std::string>{"{\"tipo\":\"aviso\",\"texto\":\"Abrindo o jogo…\"}"});
  EXPECT_EQ(WaitForRecords(folder_, 1).size(), 1u);
  EXPECT_EQ(rig_.window.CloseRequests(), 1);
}

}  // namespace

}  // namespace orv
