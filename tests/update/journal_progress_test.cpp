#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "core/file_util.h"
#include "core/paths.h"
#include "support/fake_clock.h"
#include "support/scoped_folders.h"
#include "update/progress.h"
#include "update/swap_journal.h"

namespace orv {

namespace {

struct JournalRig {
  ScopedFolders folders;
  std::filesystem::path game = folders.root() / "Jogo";

  void Stage(const std::string& relative, const std::string& content) {
    WriteTestFile(JoinRelative(StagingFolder(game), relative), content);
  }
  void Install(const std::string& relative, const std::string& content) {
    WriteTestFile(JoinRelative(game, relative), content);
  }
  std::string Installed(const std::string& relative) { return ReadTestFile(JoinRelative(game, relative)); }
};

TEST(SwapJournal, TextIsOneLineOfEscapedPaths) {
  EXPECT_EQ(SwapJournal::Text({}), "{\"trocas\":[]}");
  EXPECT_EQ(SwapJournal::Text({"a/b.pak", "Conteúdo\\x \"q\".txt"}),
            "{\"trocas\":[\"a/b.pak\",\"Conteúdo\\\\x \\\"q\\\".txt\"]}");
}

TEST(SwapJournal, ReplayMovesEveryStagedFileThenCleansUp) {
  JournalRig rig;
  rig.Install("bin/jogo.exe", "velho");
  rig.Stage("bin/jogo.exe", "novo");
  rig.Stage("dados\\mapas/ação.pak", "mapa");  // either separator, non-ASCII name, new folder
  SwapJournal::Write(rig.game, {"bin/jogo.exe", "dados\\mapas/ação.pak"});
  EXPECT_EQ(ReadTestFile(JournalPath(rig.game)), "{\"trocas\":[\"bin/jogo.exe\",\"dados\\\\mapas/ação.pak\"]}");

  std::string reason = "intocado";
  ASSERT_TRUE(SwapJournal::Replay(rig.game, reason));
  EXPECT_EQ(reason, "intocado");
  EXPECT_EQ(rig.Installed("bin/jogo.exe"), "novo");
  EXPECT_EQ(rig.Installed("dados/mapas/ação.pak"), "mapa");
  EXPECT_FALSE(PathExists(StagingFolder(rig.game)));
  std::string log;
  ASSERT_TRUE(ReadWholeFile(GetDataFolder() / "launcher.log", log));
  EXPECT_NE(log.find("troca concluida pelo diario em " + PathToUtf8(rig.game) + "\r\n"), std::string::npos);
}

TEST(SwapJournal, InterruptedReplayIsFinishedByTheNextOne) {
  JournalRig rig;
  // As after a crash in the middle of a replay: the first file already moved, the second still staged.
  rig.Install("a.txt", "novo-a");
  rig.Install("b.txt", "velho-b");
  rig.Stage("b.txt", "novo-b");
  SwapJournal::Write(rig.game, {"a.txt", "b.txt", "nunca-estagiado.txt"});
  std::string reason;
  ASSERT_TRUE(SwapJournal::Replay(rig.game, reason));
  EXPECT_EQ(rig.Installed("a.txt"), "novo-a");
  EXPECT_EQ(rig.Installed("b.txt"), "novo-b");
  EXPECT_FALSE(PathExists(JoinRelative(rig.game, "nunca-estagiado.txt")));
  EXPECT_FALSE(PathExists(JournalPath(rig.game)));
}

TEST(SwapJournal, NothingToDoAndEmptyOrMissingLists) {
  JournalRig rig;
  std::string reason;
  EXPECT_TRUE(SwapJournal::Replay(rig.game, reason));  // no staging folder at all

  rig.Stage("parcial.pak.part", "123");  // staged but no journal: kept for the next run
  EXPECT_TRUE(SwapJournal::Replay(rig.game, reason));
  EXPECT_EQ(FileSizeOf(JoinRelative(StagingFolder(rig.game), "parcial.pak.part")), 3);

  for (const char* journal : {"{\"trocas\":[]}", "{}", "{\"trocas\":5}"}) {
    JournalRig clean;
    WriteTestFile(JournalPath(clean.game), journal);
    ASSERT_TRUE(SwapJournal::Replay(clean.game, reason)) << journal;
    EXPECT_FALSE(PathExists(StagingFolder(clean.game))) << journal;
  }
}

TEST(SwapJournal, AnUnlistedStagedFileSurvivesWithItsFolders) {
  JournalRig rig;
  rig.Stage("x/listado.txt", "1");
  rig.Stage("y/z/extra.bin", "2");
  SwapJournal::Write(rig.game, {"x/listado.txt"});
  std::string reason;
  ASSERT_TRUE(SwapJournal::Replay(rig.game, reason));
  EXPECT_EQ(rig.Installed("x/listado.txt"), "1");
  EXPECT_EQ(ReadTestFile(JoinRelative(StagingFolder(rig.game), "y/z/extra.bin")), "2");
  EXPECT_FALSE(PathExists(JoinRelative(StagingFolder(rig.game), "x")));  // emptied folders go
  EXPECT_FALSE(PathExists(JournalPath(rig.game)));
}

// A journal nested a hundred thousand levels deep neither crashes the run nor moves anything:
// unfinished, it is corrupt like any half-written one; complete, its nested lists are no paths.
TEST(SwapJournal, DeeplyNestedJournalsAreHandledWithoutRecursion) {
  JournalRig rig;
  rig.Stage("a.txt", "novo");
  constexpr std::size_t kDeep = 100000;
  const std::string unfinished = "{\"trocas\":" + std::string(kDeep, '[');
  WriteTestFile(JournalPath(rig.game), unfinished);
  std::string reason;
  EXPECT_FALSE(SwapJournal::Replay(rig.game, reason));
  EXPECT_EQ(reason, "diario corrompido");
  EXPECT_EQ(ReadTestFile(JournalPath(rig.game)), unfinished);

  WriteTestFile(JournalPath(rig.game), "{\"trocas\":[" + std::string(kDeep, '[') + std::string(kDeep, ']') + "]}");
  reason.clear();
  EXPECT_TRUE(SwapJournal::Replay(rig.game, reason)) << reason;
  EXPECT_FALSE(PathExists(JoinRelative(rig.game, "a.txt")));
}

TEST(SwapJournal, AMoveThatFailsKeepsTheJournalForTheNextReplay) {
  JournalRig rig;
  rig.Stage("a.txt", "novo-a");
  rig.Stage("b.txt", "novo-b");
  // A folder where the file must go cannot be replaced by a file, on any platform.
  std::filesystem::create_directories(JoinRelative(rig.game, "b.txt/ocupado"));
  SwapJournal::Write(rig.game, {"a.txt", "b.txt"});
  std::string reason;
  EXPECT_FALSE(SwapJournal::Replay(rig.game, reason));
  EXPECT_EQ(reason, "nao trocou b.txt (o jogo esta aberto?)");
  EXPECT_EQ(rig.Installed("a.txt"), "novo-a");
  EXPECT_TRUE(PathExists(JournalPath(rig.game)));

  std::filesystem::remove_all(JoinRelative(rig.game, "b.txt"));
  ASSERT_TRUE(SwapJournal::Replay(rig.game, reason));
  EXPECT_EQ(rig.Installed("b.txt"), "novo-b");
}

TEST(SwapJournal, PathsLeavingTheGameFolderAreNeverMoved) {
  JournalRig rig;
  WriteTestFile(rig.folders.root() / "fora.txt", "original");
  rig.Stage("../fora.txt", "ataque");  // lands beside the game folder's staging folder
  WriteTestFile(JournalPath(rig.game), "{\"trocas\":[\"../../fora.txt\",\"/etc/x\",\"C:\\\\x\",\"\"]}");
  std::string reason;
  EXPECT_TRUE(SwapJournal::Replay(rig.game, reason));
  EXPECT_EQ(ReadTestFile(rig.folders.root() / "fora.txt"), "original");
}

// Extremes and escaping; the ordinary messages, spelled out, are VerifyRun's.
TEST(Progress, EstadoTextAndFormatting) {
  EXPECT_EQ(EstadoMessage({RunPhase::kDownloading, "a\"b", -1, 2147483647, 18446744073709551615ULL, 5, 1234.6},
                          VersionSuffix("1.0", "s\\2")),
            "{\"tipo\":\"estado\",\"fase\":\"baixando\",\"texto\":\"a\\\"b\",\"atual\":-1,\"total\":2147483647,"
            "\"bytes\":18446744073709551615,\"bytesTotal\":5,\"velocidade\":1235,"
            "\"versaoCliente\":\"1.0\",\"versaoServidor\":\"s\\\\2\"}");
  EXPECT_EQ(FormatMegabytes(0), "0,0 MB");
  EXPECT_EQ(FormatMegabytes(1048576), "1,0 MB");
  EXPECT_EQ(FormatMegabytes(1572864), "1,5 MB");
  EXPECT_EQ(FormatMegabytes(13107200), "12,5 MB");
  EXPECT_EQ(FormatFileCount(0), "0 arquivos");
  EXPECT_EQ(FormatFileCount(1), "1 arquivo");
  EXPECT_EQ(FormatFileCount(3), "3 arquivos");

  EngineState silent;  // no sink: nothing happens
  PostEstado(silent, {.phase = RunPhase::kReady, .texto = "x"}, "");
}

TEST(Progress, EveryPhaseHasItsFaseTextAndOnlyEndingPhasesAreFinal) {
  const std::vector<std::tuple<RunPhase, std::string_view, bool>> phases = {
      {RunPhase::kChecking, "verificando", false},
      {RunPhase::kDownloading, "baixando", false},
      {RunPhase::kInstalling, "instalando", false},
      {RunPhase::kReady, "pronto", true},
      {RunPhase::kOutdated, "desatualizado", true},
      {RunPhase::kPaused, "parado", true},
      {RunPhase::kError, "erro", true},
      {RunPhase::kRestarting, "reiniciar", true}};
  for (const auto& [phase, name, final] : phases) {
    EXPECT_EQ(FaseName(phase), name);
    EXPECT_EQ(IsFinalPhase(phase), final) << name;
  }
}

TEST(Progress, BothSinksGetTheSameStatusAndTheReporterNotesTheFinalOne) {
  EngineState state;
  std::vector<RunStatus> fields;
  std::vector<std::string> texts;
  state.status_sink = [&](const RunStatus& s) { fields.push_back(s); };
  state.progress_sink = [&](const std::string& m) { texts.push_back(m); };
  RunReporter reporter(state);
  reporter.SetVersions("1.0", "7");
  reporter.Estado(RunPhase::kInstalling, "Instalando…", 2, 2, 10, 10);
  EXPECT_FALSE(reporter.final_sent());
  reporter.Estado(RunPhase::kOutdated, "y", 0, 1, 0, 5);
  EXPECT_TRUE(reporter.final_sent());
  ASSERT_EQ(fields.size(), 2u);
  ASSERT_EQ(texts.size(), 2u);
  EXPECT_EQ(fields[0].phase, RunPhase::kInstalling);
  EXPECT_EQ(fields[0].texto, "Instalando…");
  EXPECT_EQ(fields[0].atual, 2);
  EXPECT_EQ(fields[1].phase, RunPhase::kOutdated);
  EXPECT_EQ(fields[1].bytes_total, 5u);
  EXPECT_EQ(texts[1],
            "{\"tipo\":\"estado\",\"fase\":\"desatualizado\",\"texto\":\"y\",\"atual\":0,\"total\":1,\"bytes\":0,"
            "\"bytesTotal\":5,\"velocidade\":0,\"versaoCliente\":\"1.0\",\"versaoServidor\":\"7\"}");
}

TEST(Progress, TransferReportsAreThrottledAndCarryTheMeanSpeed) {
  EngineState state;
  std::vector<std::string> sent;
  state.progress_sink = [&](const std::string& m) { sent.push_back(m); };
  FakeClock clock;
  RunReporter reporter(state);
  reporter.SetVersions("2.0", "7");
  TransferProgress progress(reporter, clock, 3, 10'000'000);

  progress.OnBytes(1000);
  clock.AdvanceMs(250);  // exactly 250 ms: still too early
  progress.OnBytes(1000);
  EXPECT_TRUE(sent.empty());

  clock.AdvanceMs(50);  // 300 ms after the start: first report, speed still 0
  progress.SetEntry(1);
  progress.AddResumed(5000);
  progress.OnBytes(1000);
  ASSERT_EQ(sent.size(), 1u);
  EXPECT_EQ(sent[0],
            "{\"tipo\":\"estado\",\"fase\":\"baixando\",\"texto\":\"Atualizando 2/3\",\"atual\":2,\"total\":3,"
            "\"bytes\":8000,\"bytesTotal\":10000000,\"velocidade\":0,\"versaoCliente\":\"2.0\","
            "\"versaoServidor\":\"7\"}");

  clock.AdvanceMs(100);
  progress.OnBytes(1000);  // 100 ms after the last report: throttled
  EXPECT_EQ(sent.size(), 1u);

  clock.AdvanceMs(600);  // 1 s after the start; 9000 bytes done (the resumed ones included)
  progress.OnBytes(1000);
  ASSERT_EQ(sent.size(), 2u);
  EXPECT_NE(sent[1].find("\"bytes\":10000,\"bytesTotal\":10000000,\"velocidade\":10000,"), std::string::npos);
  EXPECT_EQ(progress.done(), 10000u);
}

}  // namespace

}  // namespace orv
