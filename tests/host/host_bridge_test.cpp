#include "host/host_bridge.h"

#include <gtest/gtest.h>

#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "core/file_util.h"
#include "core/game_folder.h"
#include "core/paths.h"
#include "host/page_messages.h"
#include "host/run_thread.h"
#include "support/fake_host.h"
#include "support/scoped_folders.h"

namespace orv {

namespace {

class FakeGame final : public GameCommands {
 public:
  void Play(const Channel& channel) override { played.push_back(channel.id); }
  std::optional<std::string> SettingsJson() override { return std::nullopt; }
  bool SaveSettings(const JsonValue& dados) override {
    saved.push_back(dados.Find("resX").AsInt(-1));
    return true;
  }
  std::vector<std::string> played;
  std::vector<std::int64_t> saved;
};

// A bridge over the configuration `config_text`, with fakes everywhere; without a game room the
// bridge gets the default GameCommands, as before the game room existed.
struct BridgeRig {
  explicit BridgeRig(const std::string& config_text, bool auto_mode = false, bool with_game = true)
      : config(LauncherConfigFromText(config_text, folders.root() / "Jogo")),
        bridge(
            config, state, auto_mode, [this](const std::string& m) { posted.push_back(m); }, window, runs,
            with_game ? static_cast<GameCommands&>(game) : no_game) {}

  ScopedFolders folders;
  LauncherConfig config;
  EngineState state;
  FakeWindow window;
  FakeRuns runs;
  FakeGame game;
  GameCommands no_game;
  std::vector<std::string> posted;
  HostBridge bridge;
};

const char kThreeChannels[] =
    R"({"canais":[{"id":"oficial","nome":"Oficial","manifesto":"https://a/m"},
                  {"id":"teste","nome":"Teste","manifesto":"https://b/m"},
                  {"id":"pbe","nome":"PBE","manifesto":"https://c/m"}],
        "discord":"https://discord.gg/x","site":"https://site"})";

TEST(HostBridge, ProntoAnswersInicioExactlyThenStartsAVerification) {
  BridgeRig rig("{}");
  rig.bridge.OnPageMessage(R"({"cmd":"pronto"})");
  const std::string pasta = PathToUtf8(rig.config.canais[0].pasta);
  ASSERT_EQ(rig.posted.size(), 1u);  // no settings yet: no "config"
  EXPECT_EQ(rig.posted[0],
            "{\"tipo\":\"inicio\",\"versaoLauncher\":\"1.2.5\",\"canais\":[{\"id\":\"oficial\",\"nome\":\"Oficial\"}],"
            "\"canal\":0,\"pasta\":" +
                JsonQuote(pasta) + ",\"discord\":\"\",\"site\":\"\"}");
  ASSERT_EQ(rig.runs.started.size(), 1u);
  EXPECT_FALSE(rig.runs.started[0].apply);
  EXPECT_EQ(rig.runs.started[0].channel.id, "oficial");

  // A reload repeats the conversation ("config" after "inicio" is GameCommandsBridge's).
  rig.bridge.OnPageMessage(R"({"cmd":"pronto"})");
  EXPECT_EQ(rig.posted.size(), 2u);
  EXPECT_EQ(rig.runs.started.size(), 2u);
}

TEST(HostBridge, ProntoInAutomaticModeStartsAnUpdate) {
  BridgeRig rig("{}", /*auto_mode=*/true);
  rig.bridge.OnPageMessage(R"({"cmd":"pronto"})");
  ASSERT_EQ(rig.runs.started.size(), 1u);
  EXPECT_TRUE(rig.runs.started[0].apply);
}

TEST(HostBridge, InicioListsEveryChannelWithEscapedNames) {
  BridgeRig rig(R"({"canais":[{"id":"a","nome":"Ofi\"cial"},{"id":"b","nome":"Ação"}],"discord":"https://d"})");
  rig.config.canal = 1;
  const std::string text = InicioMessage(rig.config);
  EXPECT_NE(text.find("\"canais\":[{\"id\":\"a\",\"nome\":\"Ofi\\\"cial\"},{\"id\":\"b\",\"nome\":\"Ação\"}]"),
            std::string::npos);
  EXPECT_NE(text.find(",\"canal\":1,\"pasta\":" + JsonQuote(PathToUtf8(rig.config.canais[1].pasta))),
            std::string::npos);
  EXPECT_NE(text.find(",\"discord\":\"https://d\",\"site\":\"\"}"), std::string::npos);
}

TEST(HostBridge, CanalSelectsByTruncatedOrDecimalIndexAndRefusesTheRest) {
  BridgeRig rig(kThreeChannels);
  rig.bridge.OnPageMessage(R"({"cmd":"canal","indice":1.9})");
  EXPECT_EQ(rig.config.canal, 1);
  ASSERT_EQ(rig.posted.size(), 1u);
  EXPECT_EQ(rig.posted[0], PastaMessage(rig.config));
  EXPECT_NE(rig.posted[0].find("(Teste)"), std::string::npos);
  ASSERT_EQ(rig.runs.started.size(), 1u);
  EXPECT_EQ(rig.runs.started[0].channel.id, "teste");
  EXPECT_FALSE(rig.runs.started[0].apply);

  rig.bridge.OnPageMessage(R"({"cmd":"canal","indice":"2"})");
  EXPECT_EQ(rig.config.canal, 2);

  for (const char* refused : {R"({"cmd":"canal","indice":-1})", R"({"cmd":"canal","indice":3})"}) {
    rig.bridge.OnPageMessage(refused);
    EXPECT_EQ(rig.config.canal, 2) << refused;
  }
  // Anything that is not a number or a string reads as 0.
  rig.bridge.OnPageMessage(R"({"cmd":"canal","indice":true})");
  EXPECT_EQ(rig.config.canal, 0);
  EXPECT_EQ(rig.posted.size(), 3u);
  EXPECT_EQ(rig.runs.started.size(), 3u);

  rig.state.run_active = 1;  // a run is busy: the channel stays
  rig.bridge.OnPageMessage(R"({"cmd":"canal","indice":1})");
  EXPECT_EQ(rig.config.canal, 0);
  EXPECT_EQ(rig.posted.size(), 3u);
}

TEST(HostBridge, RunCommandsAreRefusedWhileARunIsActiveButCancelIsNot) {
  BridgeRig rig("{}");
  rig.bridge.OnPageMessage(R"({"cmd":"atualizar"})");
  rig.bridge.OnPageMessage(R"({"cmd":"verificar"})");
  ASSERT_EQ(rig.runs.started.size(), 2u);
  EXPECT_TRUE(rig.runs.started[0].apply);
  EXPECT_FALSE(rig.runs.started[1].apply);

  rig.state.run_active = 1;
  rig.bridge.OnPageMessage(R"({"cmd":"atualizar"})");
  rig.bridge.OnPageMessage(R"({"cmd":"verificar"})");
  rig.bridge.OnPageMessage(R"({"cmd":"pronto"})");
  EXPECT_EQ(rig.runs.started.size(), 2u);

  rig.state.run_active = 0;
  rig.bridge.OnPageMessage(R"({"cmd":"cancelar"})");  // set even without a run
  EXPECT_EQ(rig.state.cancel_flag.load(), 1);
  EXPECT_TRUE(rig.posted.size() == 1u);  // only the "inicio" of "pronto"
}

TEST(HostBridge, EscolherPastaSavesRecomputesAndVerifies) {
  BridgeRig rig(kThreeChannels);
  rig.config.canal = 1;
  const std::filesystem::path chosen = rig.folders.root() / "Novo Lugar";
  rig.window.answer = chosen;
  rig.bridge.OnPageMessage(R"({"cmd":"escolherPasta"})");

  EXPECT_EQ(rig.window.picked_from, GetDefaultGameFolder());  // nothing chosen before
  EXPECT_EQ(ReadTestFile(GetDataFolder() / "pastajogo.txt"), PathToUtf8(chosen));
  EXPECT_EQ(rig.config.canais[0].pasta, chosen);
  EXPECT_EQ(rig.config.canais[1].pasta, WithSuffix(chosen, " (Teste)"));
  EXPECT_EQ(rig.config.canais[2].pasta, WithSuffix(chosen, " (PBE)"));
  ASSERT_EQ(rig.posted.size(), 2u);
  EXPECT_EQ(rig.posted[0],
            "{\"tipo\":\"pasta\",\"pasta\":" + JsonQuote(PathToUtf8(WithSuffix(chosen, " (Teste)"))) + "}");
  EXPECT_EQ(rig.posted[1], "{\"tipo\":\"aviso\",\"texto\":\"Pasta de instalação atualizada.\"}");
  ASSERT_EQ(rig.runs.started.size(), 1u);
  EXPECT_FALSE(rig.runs.started[0].apply);
  EXPECT_EQ(rig.runs.started[0].channel.pasta, WithSuffix(chosen, " (Teste)"));

  // The next pick starts from the folder just saved.
  rig.window.answer.clear();
  rig.bridge.OnPageMessage(R"({"cmd":"escolherPasta"})");
  EXPECT_EQ(rig.window.picked_from, chosen);
}

TEST(HostBridge, EscolherPastaCancelledOrDuringARunChangesNothing) {
  BridgeRig rig("{}");
  rig.bridge.OnPageMessage(R"({"cmd":"escolherPasta"})");  // the dialog answers "" (cancelled)
  EXPECT_EQ(rig.window.calls, std::vector<std::string>{"escolher"});
  EXPECT_FALSE(PathExists(GetDataFolder() / "pastajogo.txt"));
  EXPECT_TRUE(rig.posted.empty());
  EXPECT_TRUE(rig.runs.started.empty());

  rig.state.run_active = 1;
  rig.window.answer = rig.folders.root() / "X";
  rig.bridge.OnPageMessage(R"({"cmd":"escolherPasta"})");
  EXPECT_EQ(rig.window.calls.size(), 1u);  // not even asked
  EXPECT_FALSE(PathExists(GetDataFolder() / "pastajogo.txt"));
}

TEST(HostBridge, WindowCommandsAndLinks) {
  BridgeRig rig("{}");
  rig.bridge.OnPageMessage(R"({"cmd":"arrastar"})");
  rig.bridge.OnPageMessage(R"({"cmd":"minimizar"})");
  rig.bridge.OnPageMessage(R"({"cmd":"fechar"})");
  rig.bridge.OnPageMessage(R"({"cmd":"abrir","url":"https://discord.gg/valdren"})");
  for (const char* ignored : {R"({"cmd":"abrir","url":"HTTPS://discord.gg/x"})", R"({"cmd":"abrir","url":"http://x"})",
                              R"({"cmd":"abrir","url":"file:///c:/windows"})", R"({"cmd":"abrir","url":5})",
                              R"({"cmd":"abrir"})", R"({"cmd":"abrir","url":" https://x"})"}) {
    rig.bridge.OnPageMessage(ignored);
  }
  EXPECT_EQ(rig.window.calls,
            (std::vector<std::string>{"arrastar", "minimizar", "fechar", "abrir https://discord.gg/valdren"}));
  EXPECT_TRUE(rig.posted.empty());
}

TEST(HostBridge, MalformedMessagesAreDroppedWithoutAWord) {
  BridgeRig rig("{}");
  for (const char* bad :
       {"", "pronto", "{\"cmd\":\"pronto\"", R"({"cmd":"PRONTO"})", R"({"cmd":"pronto "})", R"({"cmd":5})",
        R"({"comando":"pronto"})", R"(["pronto"])", R"("pronto")", R"({"cmd":"desconhecido"})", R"({"cmd":null})"}) {
    rig.bridge.OnPageMessage(bad);
  }
  EXPECT_TRUE(rig.posted.empty());
  EXPECT_TRUE(rig.runs.started.empty());
  EXPECT_TRUE(rig.window.calls.empty());
  EXPECT_EQ(rig.state.cancel_flag.load(), 0);
}

// The texts of the answers are GameCommandsBridge's, with the real game room.
TEST(HostBridge, GameCommandsReachTheGameRoom) {
  BridgeRig rig(kThreeChannels);
  rig.config.canal = 2;
  rig.bridge.OnPageMessage(R"({"cmd":"jogar"})");
  EXPECT_EQ(rig.game.played, std::vector<std::string>{"pbe"});
  rig.bridge.OnPageMessage(R"({"cmd":"config"})");  // no settings: nothing to answer
  EXPECT_TRUE(rig.posted.empty());
  rig.bridge.OnPageMessage(R"({"cmd":"salvarConfig","dados":{"resX":1280}})");
  EXPECT_EQ(rig.game.saved, std::vector<std::int64_t>{1280});
}

TEST(HostBridge, WithoutAGameRoomItsCommandsAreDropped) {
  BridgeRig rig("{}", false, /*with_game=*/false);
  rig.bridge.OnPageMessage(R"({"cmd":"jogar"})");
  rig.bridge.OnPageMessage(R"({"cmd":"config"})");
  rig.bridge.OnPageMessage(R"({"cmd":"salvarConfig","dados":{"resX":1}})");
  EXPECT_TRUE(rig.posted.empty());
}

TEST(RunThread, ClosesTheWindowForASwapOrInAutomaticMode) {
  ScopedFolders folders;
  EngineState state;
  int closes = 0;
  const auto close = [&] { ++closes; };
  FinishRun(state, false, close);
  EXPECT_EQ(closes, 0);
  FinishRun(state, true, close);
  EXPECT_EQ(closes, 1);
  EXPECT_NE(ReadTestFile(GetDataFolder() / "launcher.log").find("] --auto: fim\r\n"), std::string::npos);

  state.swap_script_path = folders.root() / "troca.cmd";
  FinishRun(state, false, close);
  EXPECT_EQ(closes, 2);
}

// An exception from the run or from what follows it must not end the process from the detached
// thread: it is logged there and the thread ends.
TEST(RunThread, AnExceptionInsideTheRunThreadIsLoggedNotFatal) {
  ScopedFolders folders;
  EngineState state;
  LauncherConfig config = LauncherConfigFromText("{}", folders.root().path());
  DetachedRunStarter starter(
      state, /*auto_mode=*/true, [](EngineState&, const Channel&, bool) { throw std::runtime_error("falha de teste"); },
      [] {});
  starter.Start(RunRequest{config.canais.at(0), true});
  std::string log;
  for (int i = 0; i < 500 && log.find("fim da atualizacao com excecao: falha de teste") == std::string::npos; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    (void)ReadWholeFile(GetDataFolder() / "launcher.log", log);
  }
  EXPECT_NE(log.find("] fim da atualizacao com excecao: falha de teste\r\n"), std::string::npos) << log;
  EXPECT_EQ(log.find("--auto: fim"), std::string::npos);
}

}  // namespace

}  // namespace orv
