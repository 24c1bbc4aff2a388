// The three game commands through the bridge, with exact message texts, and the launch worker's
// starts, pauses and close request against recording seams.
#include "host/game_room_commands.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "game/game_launch.h"
#include "launch_rig.h"
#include "support/game_folder_view.h"
#include "update/swap_journal.h"

namespace orv {

namespace {

const char kDefaultConfig[] =
    "{\"tipo\":\"config\",\"config\":{\"resX\":1920,\"resY\":1080,\"modo\":1,\"qualidade\":2,\"sombras\":2,"
    "\"efeitos\":2,\"geral\":100,\"musica\":50,\"som\":50,\"instancias\":1,\"idioma\":\"pt-BR\"}}";
const char kSaved[] = "{\"tipo\":\"aviso\",\"texto\":\"Configurações salvas.\"}";
const char kOpening[] = "{\"tipo\":\"aviso\",\"texto\":\"Abrindo o jogo…\"}";
const char kNotFound[] = "{\"tipo\":\"aviso\",\"texto\":\"Jogo não encontrado. Atualize primeiro.\"}";
const char kInstalling[] =
    "{\"tipo\":\"aviso\",\"texto\":\"Instalando componentes do Windows (Visual C++ e GameInput)… Confirme o "
    "pedido do Windows.\"}";

TEST(GameCommandsBridge, ConfigAtStartupAndOnRequest) {
  LaunchRig rig;
  rig.bridge.OnPageMessage(R"({"cmd":"pronto"})");
  ASSERT_EQ(rig.posted.size(), 2u);
  EXPECT_EQ(rig.posted[1], kDefaultConfig);
  rig.posted.clear();
  rig.bridge.OnPageMessage(R"({"cmd":"config"})");
  EXPECT_EQ(rig.posted, std::vector<std::string>{kDefaultConfig});
}

TEST(GameCommandsBridge, SalvarConfigWithOnlyResXChangesOnlyTheWidth) {
  LaunchRig rig;
  rig.bridge.OnPageMessage(R"({"cmd":"salvarConfig","dados":{"resX":1280}})");
  EXPECT_EQ(rig.posted, std::vector<std::string>{kSaved});
  rig.posted.clear();
  rig.bridge.OnPageMessage(R"({"cmd":"config"})");
  std::string expected = kDefaultConfig;
  expected.replace(expected.find("1920"), 4, "1280");
  EXPECT_EQ(rig.posted, std::vector<std::string>{expected});
}

TEST(GameCommandsBridge, SalvarConfigWithoutDadosStillSavesAndAnswers) {
  LaunchRig rig;
  rig.bridge.OnPageMessage(R"({"cmd":"salvarConfig"})");
  EXPECT_EQ(rig.posted, std::vector<std::string>{kSaved});
  EXPECT_EQ(ReadIniValue(GameIniPath(), "/Script/ORV2.OrvOptionsSubsystem", "bSaved", "", 64), "True");
  EXPECT_EQ(ReadIniValue(LauncherIniPath(), "Launcher", "Instancias", "", 64), "1");
}

TEST(GameCommandsBridge, JogarWithoutTheGameSaysSoAndStartsNothing) {
  LaunchRig rig;
  rig.bridge.OnPageMessage(R"({"cmd":"jogar"})");
  EXPECT_EQ(rig.posted, std::vector<std::string>{kNotFound});
  EXPECT_TRUE(rig.workers.empty());
}

TEST(GameCommandsBridge, JogarWithAPendingJournalReportsItsReason) {
  LaunchRig rig;
  rig.InstallGame();
  ASSERT_TRUE(WriteWholeFile(JournalPath(rig.GameFolder()), "{\"trocas\":["));
  rig.bridge.OnPageMessage(R"({"cmd":"jogar"})");
  EXPECT_EQ(rig.posted,
            std::vector<std::string>{"{\"tipo\":\"aviso\",\"texto\":\"Atualização pendente: diario corrompido\"}"});
  EXPECT_TRUE(rig.workers.empty());
}

TEST(GameCommandsBridge, JogarFinishesAPendingInstallFirst) {
  LaunchRig rig;
  ASSERT_TRUE(WriteWholeFile(JoinRelative(StagingFolder(rig.GameFolder()), "ORV2.exe"), "novo"));
  SwapJournal::Write(rig.GameFolder(), {"ORV2.exe"});
  rig.bridge.OnPageMessage(R"({"cmd":"jogar"})");
  EXPECT_EQ(rig.posted, std::vector<std::string>{kOpening});
  std::string installed;
  EXPECT_TRUE(ReadWholeFile(JoinRelative(rig.GameFolder(), "ORV2.exe"), installed));
  EXPECT_EQ(installed, "novo");
}

TEST(GameCommandsBridge, JogarAnswersAtOnceAndTheWorkerStartsTheGame) {
  LaunchRig rig;
  rig.InstallGame();
  rig.bridge.OnPageMessage(R"({"cmd":"jogar"})");
  EXPECT_EQ(rig.posted, std::vector<std::string>{kOpening});
  ASSERT_EQ(rig.workers.size(), 1u);
  EXPECT_TRUE(rig.starter.starts.empty()) << "the starts belong to the worker";

  // The worker owns its job: a folder change meanwhile does not move it.
  const std::filesystem::path folder = rig.GameFolder();
  rig.config.canais[0].pasta = rig.folders.root() / "Outra";
  rig.RunWorkers();
  ASSERT_EQ(rig.starter.starts.size(), 1u);
  EXPECT_EQ(rig.starter.starts[0].command_line,
            "\"" + PathToUtf8(JoinRelative(folder, "ORV2.exe")) + "\" -windowed -ResX=1920 -ResY=1080");
  EXPECT_EQ(rig.starter.starts[0].folder, folder);
  EXPECT_NE(TakeLauncherLog().find("] jogo aberto (1/1)\r\n"), std::string::npos);
}

TEST(GameLaunch, InstanceCountIsClampedAndModeZeroHasNoArguments) {
  // The pauses: 3 s between starts, then 0.5 s before the launcher asks its window to close.
  const std::vector<std::uint32_t> one = {500}, two = {3000, 500}, three = {3000, 3000, 500},
                                   four = {3000, 3000, 3000, 500};
  const struct {
    const char* written;
    size_t starts;
    const std::vector<std::uint32_t>& sleeps;
  } counts[] = {{"7", 4, four},  {"9", 4, four}, {"0", 1, one},  {"-1", 1, one},
                {"3", 3, three}, {"1", 1, one},  {"2.9", 2, two}};
  for (const auto& [written, starts, sleeps] : counts) {
    SCOPED_TRACE(written);
    LaunchRig rig;
    rig.InstallGame();
    LaunchRig::SetInstancesAndMode(written, "0");
    rig.Play();
    ASSERT_EQ(rig.starter.starts.size(), starts);
    for (const auto& start : rig.starter.starts) {
      EXPECT_EQ(start.command_line, "\"" + PathToUtf8(JoinRelative(rig.GameFolder(), "ORV2.exe")) + "\"");
    }
    EXPECT_EQ(rig.clock.sleeps_ms, sleeps);
    EXPECT_EQ(rig.window.CloseRequests(), 1);
  }
  EXPECT_EQ(LaunchArguments(2, 1920, 1080), " -windowed -ResX=1920 -ResY=1080");
  EXPECT_EQ(LaunchArguments(-1, 800, 600), " -windowed -ResX=800 -ResY=600");
  EXPECT_EQ(LaunchArguments(0, 800, 600), "");
}

TEST(GameLaunch, FailedStartsAreLoggedAndOnlyAllFailingKeepsTheLauncherOpen) {
  {
    LaunchRig rig;
    rig.InstallGame();
    LaunchRig::SetInstancesAndMode("3", "1");
    rig.starter.answers = {false, true, false};
    rig.Play();
    EXPECT_EQ(rig.starter.starts.size(), 3u);
    EXPECT_EQ(rig.clock.sleeps_ms, (std::vector<std::uint32_t>{3000, 3000, 500}));
    EXPECT_EQ(rig.window.CloseRequests(), 1);
    const std::string log = TakeLauncherLog();
    EXPECT_NE(log.find("] CreateProcess falhou: 5\r\n"), std::string::npos) << log;
    EXPECT_NE(log.find("] jogo aberto (2/3)\r\n"), std::string::npos) << log;
    EXPECT_EQ(log.find("jogo aberto (1/3)"), std::string::npos) << log;
  }
  LaunchRig rig;
  rig.InstallGame();
  LaunchRig::SetInstancesAndMode("3", "1");
  rig.starter.answers = {false};
  rig.Play();
  EXPECT_EQ(rig.starter.starts.size(), 3u);
  EXPECT_EQ(rig.clock.sleeps_ms, (std::vector<std::uint32_t>{3000, 3000}));
  EXPECT_EQ(rig.window.CloseRequests(), 0);
  EXPECT_EQ(rig.posted, std::vector<std::string>{kOpening}) << "no further notice when every start fails";
}

// Every reason an installation fails is InstallTest's; here how one reaches the page.
TEST(GameLaunch, MissingPrerequisitesAreInstalledFirstOrStopTheLaunch) {
  LaunchRig rig;
  rig.InstallGame();
  rig.prerequisites.flags = MakePrerequisiteFlags(false, true);
  rig.Play();
  EXPECT_EQ(rig.posted, (std::vector<std::string>{
                            kOpening, kInstalling,
                            "{\"tipo\":\"aviso\",\"texto\":\"Não foi possível preparar o jogo: instalador do Visual "
                            "C++ ausente (verifique os arquivos).\"}"}));
  EXPECT_TRUE(rig.starter.starts.empty());
  EXPECT_EQ(rig.window.CloseRequests(), 0);
}

}  // namespace

}  // namespace orv
