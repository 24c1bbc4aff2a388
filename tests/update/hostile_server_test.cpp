// Whole update runs against a server that misbehaves or lies: endless and oversized answers, entries
// that name the launcher's own files, names full of URL characters, a pause in the middle of a
// back-off, exceptions thrown from the progress sink. Every run must end with exactly one final
// "estado" (support/update_run_fixture.h checks it), install all or nothing, and write nothing
// outside the game folder.
#include <gtest/gtest.h>

#include <new>
#include <set>
#include <string>
#include <vector>

#include "core/file_util.h"
#include "core/paths.h"
#include "support/noise_bytes.h"
#include "support/update_run_fixture.h"
#include "tools/orvpack/publish.h"

namespace orv {

namespace {

constexpr char kPause[] = "parado|Pausado. Continue depois de onde parou.";

class HostileServer : public UpdateRunFixture {
 protected:
  void SetUp() override {
    UpdateRunFixture::SetUp();
    outside_before_ = FilesOutsideGame();
  }
  // Nothing a server sends is written anywhere but the game folder (the log lives in AppData).
  void TearDown() override { EXPECT_EQ(FilesOutsideGame(), outside_before_); }

  // Every file of the test's tree outside the game folder and the log's folder, with its size.
  [[nodiscard]] std::set<std::string> FilesOutsideGame() const {
    std::set<std::string> files;
    for (const auto& item : std::filesystem::recursive_directory_iterator(folders_.root().path())) {
      const std::string relative = PathToUtf8(std::filesystem::relative(item.path(), folders_.root().path()));
      if (relative.starts_with("Jogo") || relative.starts_with("AppData") || relative == "fonte.bin") continue;
      files.insert(relative + ":" + std::to_string(item.is_regular_file() ? item.file_size() : 0));
    }
    return files;
  }

  std::set<std::string> outside_before_;
};

TEST_F(HostileServer, APauseIsNotAFailedAttempt) {
  // One file of each kind; the block file differs from the installed one in three separate blocks,
  // so its missing blocks come in three range requests.
  const std::string old_big = CompressibleBytes(40 * kRunBlock, 3);
  std::string new_big = old_big;
  for (const std::size_t block : {5, 15, 25}) new_big.replace(block * kRunBlock, 100, 100, 'Z');
  const std::vector<GameFile> v1 = {
      {"a.pak", CompressibleBytes(700000, 1)}, {"b.pak", CompressibleBytes(500000, 2)}, {"c.pak", old_big}};
  const std::vector<GameFile> v2 = {{"a.pak", CompressibleBytes(700000, 11), Variant::kPlain},
                                    {"b.pak", CompressibleBytes(500000, 12), Variant::kOrvz},
                                    {"c.pak", new_big, Variant::kOrvb}};
  Install(v1);
  Publish(v2);
  // "Pausar" pressed while the bytes of entry k arrive: the run pauses at once, with no "falhou"
  // line and no back-off sleep, for each transfer kind.
  for (const char* current : {"Atualizando 1/3", "Atualizando 2/3", "Atualizando 3/3"}) {
    SCOPED_TRACE(current);
    std::filesystem::remove_all(StagingFolder(game_));
    on_message_ = [&](const std::string& text) {
      if (text.find(current) != std::string::npos) state_.cancel_flag = 1;
    };
    (void)TakeLog();
    EXPECT_EQ(Last(nginx_), kPause);
    EXPECT_TRUE(clock_.sleeps_ms.empty());
    const std::string log = TakeLog();
    EXPECT_EQ(log.find("falhou"), std::string::npos) << log;
    EXPECT_EQ(Differences(v1), "");
  }
  // The next run takes up where the last one stopped.
  on_message_ = nullptr;
  EXPECT_EQ(Last(nginx_), "pronto|Jogo atualizado.");
  EXPECT_EQ(Differences(v2), "");
}

// A 30 s back-off with the flag set 5 s into it: "parado" comes within one second of test time.
TEST_F(HostileServer, ABackOffWakesAtThePause) {
  const std::string old_big = CompressibleBytes(40 * kRunBlock, 3);
  std::string new_big = old_big;
  new_big.replace(9 * kRunBlock, 100, 100, 'Y');
  Install({{"b.pak", old_big}});
  Publish({{"a.pak", CompressibleBytes(50000, 21)}, {"b.pak", new_big, Variant::kOrvb}});
  clock_.poll = true;
  for (const std::string failing : {"a.pak", "b.pak.orvb"}) {
    SCOPED_TRACE(failing);
    Arm(8, "status/503", failing);
    clock_.sleeps_ms.clear();
    std::uint64_t set_at_ms = 0;
    std::uint64_t long_sleep_start_ms = 0;
    clock_.on_sleep = [&] {
      const std::uint64_t now_ms = clock_.now_ms();
      if (clock_.sleeps_ms.size() == 5 && long_sleep_start_ms == 0) long_sleep_start_ms = now_ms;
      if (set_at_ms == 0 && long_sleep_start_ms != 0 && now_ms >= long_sleep_start_ms + 5000) {
        state_.cancel_flag = 1;
        set_at_ms = now_ms;
      }
    };
    EXPECT_EQ(Last(fault_), kPause);
    ASSERT_NE(set_at_ms, 0u);
    EXPECT_EQ(clock_.sleeps_ms, (std::vector<std::uint32_t>{2000, 4000, 8000, 15000, 30000}));
    EXPECT_LT(times_ms_.back() - set_at_ms, 1000u);
    clock_.on_sleep = nullptr;
    Arm(0, "status/503", failing);
  }
  EXPECT_EQ(Last(fault_), "pronto|Jogo atualizado.");
}

TEST_F(HostileServer, AnExceptionEndsTheRunWithOneError) {
  const std::vector<GameFile> v2 = {{"a.pak", CompressibleBytes(400000, 31)},
                                    {"b.pak", CompressibleBytes(300000, 32), Variant::kOrvz}};
  Publish(v2);
  // Thrown from inside a transfer (the progress sink runs under the HTTP client's callbacks), while
  // the final message is sent, and outside any transfer.
  for (const char* when : {"\"Atualizando ", "\"fase\":\"pronto\"", "Buscando"}) {
    SCOPED_TRACE(when);
    bool thrown = false;
    on_message_ = [&](const std::string& text) {
      if (!thrown && text.find(when) != std::string::npos) {
        thrown = true;
        throw std::bad_alloc();
      }
    };
    (void)TakeLog();
    EXPECT_EQ(Last(nginx_), "erro|Erro inesperado na atualização. Tente de novo.");
    EXPECT_TRUE(thrown);
    EXPECT_NE(TakeLog().find("atualizacao interrompida por excecao: std::bad_alloc"), std::string::npos);
    EXPECT_FALSE(PathExists(JournalPath(game_)));
  }
  on_message_ = nullptr;
  EXPECT_EQ(Last(nginx_), "pronto|Jogo atualizado.");
  EXPECT_EQ(Differences(v2), "");
}

TEST_F(HostileServer, AnEndlessOrHugeManifestIsAnInvalidManifest) {
  // The files come from nginx whichever way the manifest was fetched.
  Publish({{"a.pak", CompressibleBytes(1000, 41)}}, "2.0",
          [this](Manifest& m) { m.base = nginx_.base_url + served_.UrlPath(""); });
  versao_ = "-";  // refused: no message carries its versions
  for (const std::string prefix : {"/endless", "/pad/300000000"}) {
    SCOPED_TRACE(prefix);
    (void)TakeLog();
    EXPECT_EQ(Run(fault_, prefix),
              (std::vector<std::string>{"verificando|Buscando atualizações…|0/0|0/0",
                                        "erro|Servidor de atualização indisponível (manifesto inválido).|0/0|0/0"}));
    EXPECT_NE(TakeLog().find(": resposta grande demais"), std::string::npos);
    EXPECT_TRUE(InstalledFiles(game_).empty());
  }
  // Just under the limit, the padding is only blanks: a valid manifest.
  versao_ = "2.0";
  EXPECT_EQ(Last(fault_, "/pad/1000000"), "pronto|Jogo atualizado.");
}

TEST_F(HostileServer, EndlessFileBodiesStopAtTheManifestSizes) {
  const std::vector<GameFile> v1 = {{"a.pak", CompressibleBytes(90000, 51)}};
  const std::vector<GameFile> v2 = {
      {"a.pak", CompressibleBytes(90000, 52)},
      {"b.pak", CompressibleBytes(200000, 53), Variant::kOrvz},
      {"c.pak", CompressibleBytes(10 * kRunBlock, 54), Variant::kOrvb}};  // nothing to reuse
  Install(v1);
  Publish(v2);
  for (const std::string endless : {"a.pak", "b.pak.orvz", "c.pak.orvb"}) {
    SCOPED_TRACE(endless);
    Arm(9, "endless", endless);  // a block file's table request takes one
    clock_.sleeps_ms.clear();
    const std::string caminho = endless.substr(0, 5);
    const std::string last = Last(fault_);
    EXPECT_TRUE(last.starts_with("erro|Falha ao ")) << last;
    EXPECT_NE(last.find(caminho + " (arquivo maior que o esperado)"), std::string::npos) << last;
    EXPECT_EQ(clock_.sleeps_ms.size(), 8u);
    EXPECT_EQ(Differences(v1), "");
    const std::int64_t limit = FileSizeOf(JoinRelative(served_.path(), endless));
    for (const char* suffix : {".part", ".orvz.part", ".orvb.part"}) {
      EXPECT_LE(FileSizeOf(WithSuffix(Staged(caminho), suffix)), limit);
    }
    Arm(0, "endless", endless);
    for (const char* suffix : {".part", ".orvz.part", ".orvb.part"}) DeleteFileAt(WithSuffix(Staged(caminho), suffix));
  }
  EXPECT_EQ(Last(fault_), "pronto|Jogo atualizado.");
  EXPECT_EQ(Differences(v2), "");
}

TEST_F(HostileServer, AStagedFileThatVanishedIsNeverInstalled) {
  const std::vector<GameFile> v1 = {{"a.pak", CompressibleBytes(30000, 61)}, {"b.pak", CompressibleBytes(30000, 62)}};
  const std::vector<GameFile> v2 = {{"a.pak", CompressibleBytes(30000, 63)}, {"b.pak", CompressibleBytes(30000, 64)}};
  Install(v1);
  Publish(v2);
  on_message_ = [this](const std::string& text) {
    if (text.find("Instalando") != std::string::npos) DeleteFileAt(Staged("b.pak"));
  };
  EXPECT_EQ(Last(nginx_), "erro|Não foi possível instalar: b.pak sumiu de .atualizando");
  EXPECT_FALSE(PathExists(JournalPath(game_)));
  EXPECT_FALSE(PathExists(Staged("b.pak")));
  EXPECT_EQ(Differences(v1), "");
  on_message_ = nullptr;
  EXPECT_EQ(Last(nginx_), "pronto|Jogo atualizado.");
  EXPECT_EQ(Differences(v2), "");
}

TEST_F(HostileServer, TargetsThatCannotBeReplacedStopTheInstallBeforeTheJournal) {
  const std::vector<GameFile> v2 = {{"a.pak", CompressibleBytes(20000, 71)},
                                    {"pasta.pak", CompressibleBytes(20000, 72)},
                                    {"dados/x.pak", CompressibleBytes(20000, 73)}};
  WriteTestFile(game_ / "a.pak", "velho");
  // An installed folder where a file must go, then a file where a parent folder must go.
  WriteTestFile(game_ / "pasta.pak" / "dentro.txt", "do jogador");
  WriteTestFile(game_ / "dados", "um arquivo");
  Publish(v2);
  const std::map<std::string, std::string> before = InstalledFiles(game_);
  EXPECT_EQ(Last(nginx_), "erro|Não foi possível instalar: pasta.pak e uma pasta");
  EXPECT_FALSE(PathExists(JournalPath(game_)));
  EXPECT_EQ(FolderDifferences(InstalledFiles(game_), before), "");
  std::filesystem::remove_all(game_ / "pasta.pak");
  EXPECT_EQ(Last(nginx_), "erro|Não foi possível instalar: dados e um arquivo");
  EXPECT_FALSE(PathExists(JournalPath(game_)));
  EXPECT_EQ(ReadTestFile(game_ / "a.pak"), "velho");
  DeleteFileAt(game_ / "dados");
  EXPECT_EQ(Last(nginx_), "pronto|Jogo atualizado.");
  EXPECT_EQ(Differences(v2), "");
}

// Entries aimed at the launcher's own files (the journal, the hash cache), a NUL that would cut a
// name short, and a second entry for one file: ignored, so no later run can be broken by them.
TEST_F(HostileServer, EntriesAimedAtTheLaunchersOwnFilesAreIgnored) {
  const std::vector<GameFile> v2 = {{"a.pak", CompressibleBytes(20000, 81)}};
  const std::string junk = "{\"trocas\":[";  // would be a corrupt journal
  const std::string digest = DigestOf(junk);
  const std::vector<std::string> names = {
      ".atualizando/diario.json", ".orvlauncher/hashes.json",     ".ATUALIZANDO\\x", "./.orvlauncher/y",
      ".orvlauncher./z",          std::string("a.pak\0junk", 10), "a.pak",           "b/../a.pak"};
  Publish(v2, "2.0", [&](Manifest& m) {
    for (const std::string& caminho : names) m.arquivos.push_back(UnservedEntry(caminho, digest, junk.size()));
  });
  // Not one of them is served: the run ends well only if all are skipped (their log lines:
  // Manifest.UnsafeMalformedOrHarmfulEntriesAreSkippedAndLogged).
  EXPECT_EQ(Last(nginx_), "pronto|Jogo atualizado.");
  EXPECT_EQ(Differences(v2), "");
  EXPECT_FALSE(PathExists(JournalPath(game_)));
  EXPECT_EQ(Last(nginx_), "pronto|Jogo atualizado.");
}

// Names that mean something in a URL arrive under their own names, from a channel that orvpack
// published. Windows cannot hold "que?.txt": there the entry fails cleanly and installs nothing.
TEST_F(HostileServer, FileNamesWithUrlCharactersArrive) {
  std::vector<GameFile> files = {{"100% pronto.txt", "cem"},
                                 {"C#/notas.txt", "notas"},
                                 {"%41.txt", "por cento, nao A"},
                                 {"ação + reação.txt", "física"},
                                 {"x;y=1&z.txt", "ponto e virgula"}};
#if !defined(_WIN32)
  files.push_back({"que?.txt", "pergunta"});
#endif
  const std::filesystem::path build = folders_.root() / "build";
  for (const GameFile& f : files) WriteTestFile(JoinRelative(build, f.caminho), f.bytes);
  PublishOptions options;
  options.build = build;
  options.channel = served_.path();
  options.versao = versao_ = "1";
  options.servidor = "1";
  PublishSummary summary;
  std::string error;
  ASSERT_TRUE(PublishChannel(options, {}, nullptr, summary, error)) << error;
  std::filesystem::remove_all(build);
  for (const GameFile& f : files) EXPECT_EQ(ReadTestFile(JoinRelative(served_.path(), f.caminho)), f.bytes);

  for (const TestServer* server : {&nginx_, &fault_}) {
    std::filesystem::remove_all(game_);
    EXPECT_EQ(Last(*server), "pronto|Jogo atualizado.");
    EXPECT_EQ(Differences(files), "");
  }
#if defined(_WIN32)
  // A hand-made manifest naming "que?.txt": the download cannot create it, the run says so.
  std::filesystem::remove_all(game_);
  served_.Put("que_.txt", "pergunta");
  std::string manifest = ReadTestFile(served_.path() / "manifest.json");
  manifest.insert(manifest.find('[') + 1,
                  "{\"caminho\":\"que?.txt\",\"sha256\":\"" + DigestOf("pergunta") + "\",\"tamanho\":8},");
  served_.Put("manifest.json", manifest);
  const std::string last = Last(nginx_);
  EXPECT_TRUE(last.starts_with("erro|Falha ao baixar que?.txt")) << last;
  EXPECT_TRUE(InstalledFiles(game_).empty());
  EXPECT_FALSE(PathExists(JournalPath(game_)));
#endif
}

TEST_F(HostileServer, ASwapScriptThatCannotBeWrittenSkipsTheSelfUpdate) {
  const std::string launcher = "MZ " + CompressibleBytes(4000, 95);
  served_.Put("OrvLauncher.exe", launcher);
  const std::string digest = DigestOf(launcher);
  Publish({{"a.pak", CompressibleBytes(1000, 96)}}, "2.0", [&digest](Manifest& m) {
    m.launcher.present = true;
    m.launcher.versao = "9.0";
    m.launcher.sha256 = digest;
  });
  state_.module_folder = folders_.root() / "programa";
  // The data folder is a file: troca.cmd cannot be written there.
  WriteTestFile(folders_.root() / "programa" / "dados", "");
  state_.data_folder = folders_.root() / "programa" / "dados";
  (void)TakeLog();
  EXPECT_EQ(Last(nginx_), "pronto|Jogo atualizado.");
  EXPECT_TRUE(state_.swap_script_path.empty());
  EXPECT_FALSE(PathExists(folders_.root() / "programa" / "OrvLauncher.exe.novo"));
  EXPECT_NE(TakeLog().find("launcher novo: nao gravou "), std::string::npos);

  // With a usable data folder the same manifest ends with the restart, both files in the given folders.
  state_.data_folder = folders_.root() / "programa" / "dados2";
  std::filesystem::create_directories(state_.data_folder);
  EXPECT_EQ(Last(nginx_), "reiniciar|Launcher atualizado. Reiniciando…");
  EXPECT_EQ(state_.swap_script_path, state_.data_folder / "troca.cmd");
  EXPECT_EQ(ReadTestFile(folders_.root() / "programa" / "OrvLauncher.exe.novo"), launcher);
  DeleteFileAt(folders_.root() / "programa" / "OrvLauncher.exe.novo");
  DeleteFileAt(state_.swap_script_path);
  RemoveEmptyFolder(state_.data_folder);
  DeleteFileAt(folders_.root() / "programa" / "dados");
}

}  // namespace

}  // namespace orv
