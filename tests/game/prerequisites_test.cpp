// Prerequisites: the version rule, the script for each combination of missing components, and the
// installation's messages, order and log lines against a scripted system.
#include "game/prerequisites.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/game_folder_view.h"
#include "support/scoped_folders.h"

namespace orv {

namespace {

// Answers the checks in turn (the last one repeats) and records the elevated starts.
class ScriptedSystem final : public PrerequisiteSystem {
 public:
  PrerequisiteFlags Check() override {
    const PrerequisiteFlags flags = checks.at(next < checks.size() ? next : checks.size() - 1);
    ++next;
    return flags;
  }
  bool RunElevatedScript(const std::filesystem::path& script, std::uint32_t& error_code) override {
    scripts.push_back(script);
    std::string text;
    script_text = ReadWholeFile(script, text) ? text : "<sem script>";
    error_code = start_error;
    return start_error == 0;
  }

  std::vector<PrerequisiteFlags> checks;
  size_t next = 0;
  std::uint32_t start_error = 0;
  std::vector<std::filesystem::path> scripts;
  std::string script_text;
};

constexpr PrerequisiteFlags kNone = MakePrerequisiteFlags(false, false);
constexpr PrerequisiteFlags kOnlyVc = MakePrerequisiteFlags(true, false);
constexpr PrerequisiteFlags kOnlyInput = MakePrerequisiteFlags(false, true);
constexpr PrerequisiteFlags kBoth = MakePrerequisiteFlags(true, true);

TEST(VcRuntimeVersion, AtLeast14_50_35719AndInstalled) {
  struct Case {
    VcRuntimeValues values;
    bool current;
  };
  const Case cases[] = {
      {{1, 14, 50, 35718}, false}, {{1, 14, 50, 35719}, true},  {{1, 14, 51, 0}, true},
      {{1, 15, 0, 0}, true},       {{1, 14, 49, 99999}, false}, {{1, 13, 99, 99999}, false},
      {{0, 15, 0, 0}, false},      {{2, 15, 0, 0}, false},      {{1, 14, 50, 40000}, true},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(VcRuntimeIsCurrent(c.values), c.current)
        << c.values.installed << " " << c.values.major << "." << c.values.minor << "." << c.values.bld;
  }
}

class InstallTest : public ::testing::Test {
 protected:
  void SetUp() override {
    game_ = folders_.root() / "Jogo com espaço";
    EXPECT_TRUE(CreateFolder(game_));
  }
  void PutInstaller(const std::filesystem::path& path) {
    ASSERT_TRUE(EnsureParentFolder(path));
    ASSERT_TRUE(WriteWholeFile(path, "instalador"));
  }
  [[nodiscard]] std::filesystem::path Script() const { return GetDataFolder() / "prereqs.cmd"; }

  ScopedFolders folders_;
  std::filesystem::path game_;
  ScriptedSystem system_;
  std::string error_;
};

TEST_F(InstallTest, ScriptHoldsExactlyTheMissingInstallers) {
  const std::string vc = PathToUtf8(VcRedistInstaller(game_));
  const std::string input = PathToUtf8(GameInputInstaller(game_));
  EXPECT_EQ(PathToUtf8(VcRedistInstaller(game_)),
            PathToUtf8(JoinRelative(game_, "Engine/Extras/Redist/en-us/vc_redist.x64.exe")));
  EXPECT_EQ(PathToUtf8(GameInputInstaller(game_)),
            PathToUtf8(JoinRelative(game_, "Engine/Extras/Redist/en-us/GameInputRedist.msi")));
  EXPECT_EQ(
      PrerequisiteScript(game_, kNone),
      "@echo off\r\n\"" + vc + "\" /install /quiet /norestart\r\nmsiexec /i \"" + input + "\" /quiet /norestart\r\n");
  EXPECT_EQ(PrerequisiteScript(game_, kOnlyInput), "@echo off\r\n\"" + vc + "\" /install /quiet /norestart\r\n");
  EXPECT_EQ(PrerequisiteScript(game_, kOnlyVc), "@echo off\r\nmsiexec /i \"" + input + "\" /quiet /norestart\r\n");
}

TEST_F(InstallTest, BothPresentDoesNothing) {
  system_.checks = {kBoth};
  EXPECT_TRUE(InstallPrerequisites(game_, error_, system_));
  EXPECT_TRUE(system_.scripts.empty());
  EXPECT_FALSE(PathExists(Script()));
}

TEST_F(InstallTest, MissingInstallersAreNamedInOrderAndOnlyForMissingComponents) {
  system_.checks = {kNone};
  EXPECT_FALSE(InstallPrerequisites(game_, error_, system_));
  EXPECT_EQ(error_, "instalador do Visual C++ ausente (verifique os arquivos)");

  PutInstaller(VcRedistInstaller(game_));
  system_.next = 0;
  EXPECT_FALSE(InstallPrerequisites(game_, error_, system_));
  EXPECT_EQ(error_, "instalador do GameInput ausente (verifique os arquivos)");
  EXPECT_TRUE(system_.scripts.empty());
  EXPECT_FALSE(PathExists(Script()));

  // Only GameInput missing: the runtime's installer need not exist.
  std::filesystem::remove(VcRedistInstaller(game_));
  PutInstaller(GameInputInstaller(game_));
  system_.checks = {kOnlyVc, kBoth};
  system_.next = 0;
  EXPECT_TRUE(InstallPrerequisites(game_, error_, system_)) << error_;
  EXPECT_EQ(system_.script_text,
            "@echo off\r\nmsiexec /i \"" + PathToUtf8(GameInputInstaller(game_)) + "\" /quiet /norestart\r\n");
}

TEST_F(InstallTest, SuccessfulRunDeletesTheScriptAndLogsBeforeAndAfter) {
  PutInstaller(VcRedistInstaller(game_));
  PutInstaller(GameInputInstaller(game_));
  ASSERT_TRUE(WriteWholeFile(Script(), "antigo"));
  system_.checks = {kNone, kBoth};
  EXPECT_TRUE(InstallPrerequisites(game_, error_, system_)) << error_;
  ASSERT_EQ(system_.scripts.size(), 1u);
  EXPECT_EQ(system_.scripts[0], Script());
  EXPECT_EQ(system_.script_text, PrerequisiteScript(game_, kNone)) << "an earlier script is replaced";
  EXPECT_FALSE(PathExists(Script()));
  const std::string log = TakeLauncherLog();
  EXPECT_NE(log.find("] pre-requisitos: vc=0 gameinput=0, instalando\r\n"), std::string::npos) << log;
  EXPECT_NE(log.find("] pre-requisitos depois: vc=1 gameinput=1\r\n"), std::string::npos) << log;
}

TEST_F(InstallTest, TheSecondCheckDecides) {
  PutInstaller(VcRedistInstaller(game_));
  PutInstaller(GameInputInstaller(game_));
  const std::pair<PrerequisiteFlags, const char*> outcomes[] = {
      {kNone, "o Visual C++ não foi instalado"},
      {kOnlyInput, "o Visual C++ não foi instalado"},
      {kOnlyVc, "o GameInput não foi instalado"},
  };
  for (const auto& [after, message] : outcomes) {
    system_.checks = {kNone, after};
    system_.next = 0;
    EXPECT_FALSE(InstallPrerequisites(game_, error_, system_));
    EXPECT_EQ(error_, message);
    EXPECT_FALSE(PathExists(Script()));
  }
  EXPECT_NE(TakeLauncherLog().find("] pre-requisitos depois: vc=1 gameinput=0\r\n"), std::string::npos);
}

TEST_F(InstallTest, AStartThatFailsKeepsTheScriptAndLogsTheReason) {
  PutInstaller(VcRedistInstaller(game_));
  system_.checks = {kOnlyInput};
  system_.start_error = 1223;
  EXPECT_FALSE(InstallPrerequisites(game_, error_, system_));
  EXPECT_EQ(error_, "a instalação foi cancelada na confirmação do Windows");
  EXPECT_TRUE(PathExists(Script()));
  EXPECT_NE(TakeLauncherLog().find("] pre-requisitos: a instalação foi cancelada na confirmação do Windows\r\n"),
            std::string::npos);
  EXPECT_EQ(system_.next, 1u) << "no second check after a failed start";

  system_.next = 0;
  system_.start_error = 2;
  EXPECT_FALSE(InstallPrerequisites(game_, error_, system_));
  EXPECT_EQ(error_, "não foi possível iniciar o instalador (2)");
  EXPECT_NE(TakeLauncherLog().find("] pre-requisitos: não foi possível iniciar o instalador (2)\r\n"),
            std::string::npos);
}

TEST_F(InstallTest, AnUnwritableScriptStopsBeforeAnyStart) {
  PutInstaller(VcRedistInstaller(game_));
  ASSERT_TRUE(CreateFolder(Script()));  // a folder where the script should go
  system_.checks = {kOnlyInput};
  EXPECT_FALSE(InstallPrerequisites(game_, error_, system_));
  EXPECT_EQ(error_, "nao gravou o script dos pre-requisitos");
  EXPECT_TRUE(system_.scripts.empty());
}

}  // namespace

}  // namespace orv
