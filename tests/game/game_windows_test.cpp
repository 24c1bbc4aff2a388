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
  // Enough to show that each of the four values is read; the rule itself is VcRuntimeVersion's.
  const Case cases[] = {{1, 14, 50, 35718, false}, {1, 14, 50, 35719, true}, {0, 15, 0, 0, false}};
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

// The script's text, its deletion order and the log lines are InstallTest's; here the script really
// runs, through "runas" (no consent prompt under Wine: cmd.exe runs it as an ordinary start).
TEST_F(WindowsPrerequisites, ElevatedScriptInstallsTheRuntime) {
  const std::filesystem::path game = folders_.root() / "Jogo";
  CopyStandin(VcRedistInstaller(game));
  DeleteRuntimeKey();
  SetGameInput(true);
  std::string error;
  EXPECT_TRUE(InstallPrerequisites(game, error)) << error;
  EXPECT_FALSE(PathExists(GetDataFolder() / "prereqs.cmd"));
  const auto records = WaitForRecords(VcRedistInstaller(game).parent_path(), 1);
  ASSERT_EQ(records.size(), 1u);
  EXPECT_NE(records[0].command_line.find("/install /quiet /norestart"), std::string::npos) << records[0].command_line;
  EXPECT_EQ(CheckPrerequisites(), MakePrerequisiteFlags(true, true));
}

TEST_F(WindowsPrerequisites, TheRealSecondCheckDecides) {
  const std::filesystem::path game = folders_.root() / "Jogo";
  std::string error;

  // Only GameInput missing: msiexec gets a package it cannot install.
  ASSERT_TRUE(WriteWholeFile(GameInputInstaller(game), "nao e um pacote"));
  WriteRuntime(1, 14, 50, 35719);
  EXPECT_FALSE(InstallPrerequisites(game, error));
  EXPECT_EQ(error, "o GameInput não foi instalado");

  // Both missing, both installers there: the stand-in installs the runtime, msiexec still fails.
  CopyStandin(VcRedistInstaller(game));
  DeleteRuntimeKey();
  EXPECT_FALSE(InstallPrerequisites(game, error));
  EXPECT_EQ(error, "o GameInput não foi instalado");
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

// The count, spacing and arguments are the launch rig's; here the real starts of a path with blanks
// and accents.
TEST_F(WindowsLaunch, StartsEachInstanceQuotedInTheGameFolder) {
  CopyStandin(folder_ / "ORV2.exe");
  Play("2", "1");
  const auto records = WaitForRecords(folder_, 2);
  ASSERT_EQ(records.size(), 2u);
  for (const Record& record : records) {
    EXPECT_EQ(record.command_line, Quoted() + " -windowed -ResX=1920 -ResY=1080");
    EXPECT_EQ(record.folder, PathToUtf8(folder_));
  }
  EXPECT_EQ(rig_.window.CloseRequests(), 1);
}

TEST_F(WindowsLaunch, EveryStartFailingLeavesTheLauncherOpen) {
  ASSERT_TRUE(WriteWholeFile(folder_ / "ORV2.exe", "isto nao e um programa"));
  Play("2", "1");
  EXPECT_EQ(rig_.window.CloseRequests(), 0);
  const std::string log = TakeLauncherLog();
  EXPECT_NE(log.find("] CreateProcess falhou: "), std::string::npos) << log;
  EXPECT_EQ(log.find("jogo aberto"), std::string::npos) << log;
}

// Once nothing holds it, the install goes ahead as in GameCommandsBridge.JogarFinishesAPendingInstallFirst.
TEST_F(WindowsLaunch, AHeldFileKeepsTheUpdatePending) {
  ASSERT_TRUE(WriteWholeFile(folder_ / "ORV2.exe", "antigo"));
  CopyStandin(JoinRelative(StagingFolder(folder_), "ORV2.exe"));
  SwapJournal::Write(folder_, {"ORV2.exe"});
  HeldFile held;
  ASSERT_TRUE(held.Hold(folder_ / "ORV2.exe"));
  Play("1", "1");
  EXPECT_EQ(rig_.posted, std::vector<std::string>{"{\"tipo\":\"aviso\",\"texto\":\"Atualização pendente: nao "
                                                  "trocou ORV2.exe (o jogo esta aberto?)\"}"});
  EXPECT_TRUE(rig_.workers.empty());
}

}  // namespace

}  // namespace orv
