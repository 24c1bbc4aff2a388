// Whole update runs against a server that misbehaves or lies: endless and oversized answers, entries
// that name the launcher's own files, names full of URL characters, a pause in the middle of a
// back-off, exceptions thrown from the progress sink. Every run must end with exactly one final
// "estado", install all or nothing, and write nothing outside the game folder.
#include "update/update_run.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <new>
#include <set>
#include <string>
#include <vector>

#include "core/file_util.h"
#include "core/json.h"
#include "core/paths.h"
#include "formats/orvb.h"
#include "formats/pack_writer.h"
#include "support/game_folder_view.h"
#include "support/noise_bytes.h"
#include "support/scoped_folders.h"
#include "support/test_channel.h"
#include "test_servers.h"
#include "tools/orvpack/publish.h"
#include "update/hash_cache.h"
#include "update/http_client.h"
#include "update/progress.h"
#include "update/sha256.h"
#include "update/swap_journal.h"

namespace orv {

namespace {

constexpr std::uint32_t kBlock = 16384;
constexpr char kPause[] = "Pausado. Continue depois de onde parou.";

// Time moves 300 ms at every reading (so each progress call is reported) and by every sleep. Sleeps
// are recorded whole, unless `poll` is set: then the clock's own cancel-aware loop runs in fake time.
class TestClock final : public Clock {
 public:
  std::uint64_t NowNs() override { return now_ns += 300'000'000ULL; }
  void SleepMs(std::uint32_t milliseconds) override {
    now_ns += std::uint64_t{milliseconds} * 1'000'000ULL;
    if (on_sleep) on_sleep();
  }
  bool SleepUnlessCancelled(std::uint32_t milliseconds, const CancelFlag* cancel) override {
    sleeps_ms.push_back(milliseconds);
    if (poll) return Clock::SleepUnlessCancelled(milliseconds, cancel);
    if (cancel != nullptr && cancel->load() != 0) return false;
    SleepMs(milliseconds);
    return cancel == nullptr || cancel->load() == 0;
  }
  std::uint64_t now_ns = 0;
  bool poll = false;
  std::vector<std::uint32_t> sleeps_ms;
  std::function<void()> on_sleep;
};

// What a client sends for a published name: every byte but A-Z a-z 0-9 - . _ ~ and "/" escaped.
std::string Escaped(std::string_view path) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string out;
  for (const unsigned char c : path) {
    if (std::isalnum(c) != 0 || c == '-' || c == '.' || c == '_' || c == '~' || c == '/') {
      out += static_cast<char>(c);
    } else {
      out += {'%', kHex[c >> 4], kHex[c & 15]};
    }
  }
  return out;
}

using Variant = TestChannel::Variant;
struct GameFile {
  std::string caminho;
  std::string bytes;
  Variant variant = Variant::kPlain;
};

class HostileServer : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_FALSE(nginx_.base_url.empty()) << "the http_nginx fixture is not running";
    ASSERT_FALSE(fault_.base_url.empty()) << "the http_fault fixture is not running";
    state_.clock = &clock_;
    // A message whose sink throws never reached the page: it is not recorded. The fields come
    // first and are kept once the page's sink took the text.
    state_.status_sink = [this](const RunStatus& status) { pending_ = status; };
    state_.progress_sink = [this](const std::string& text) {
      if (on_message_) on_message_(text);
      raw_.push_back(text);
      statuses_.push_back(pending_);
      times_ms_.push_back(clock_.now_ns / 1'000'000ULL);
    };
    std::filesystem::create_directories(game_);
    outside_before_ = FilesOutsideGame();
  }
  void TearDown() override {
    // Nothing a server sends is written anywhere but the game folder (the log lives in AppData).
    EXPECT_EQ(FilesOutsideGame(), outside_before_);
  }

  // Publishes `files` as the publisher would; `adjust` may change the manifest before it is written.
  void Publish(const std::vector<GameFile>& files, const std::function<void(Manifest&)>& adjust = {}) {
    TestChannel channel(served_.path());
    channel.manifest.versao = "2.0";
    channel.manifest.servidor = "9";
    for (const GameFile& file : files) channel.Add(file.caminho, file.bytes, file.variant, kBlock);
    if (adjust) adjust(channel.manifest);
    channel.Write();
  }

  // One update run; its messages as "fase|texto", the "Atualizando" ones left out. Checks that
  // exactly one final message came, last.
  std::vector<std::string> Run(const std::string& manifest_url) {
    raw_.clear();
    statuses_.clear();
    times_ms_.clear();
    Channel channel;
    channel.manifesto = manifest_url;
    channel.pasta = game_;
    UpdateEngine::Run(state_, channel, /*apply=*/true);
    EXPECT_EQ(state_.run_active.load(), 0);
    std::vector<std::string> lines;
    int finals = 0;
    for (const RunStatus& status : statuses_) {
      if (IsFinalPhase(status.phase)) ++finals;
      if (status.texto.rfind("Atualizando ", 0) != 0) {
        lines.push_back(std::string(FaseName(status.phase)) + "|" + status.texto);
      }
    }
    EXPECT_EQ(finals, 1);
    EXPECT_TRUE(!statuses_.empty() && IsFinalPhase(statuses_.back().phase));
    return lines;
  }
  std::vector<std::string> Run(const TestServer& server, const std::string& prefix = "") {
    return Run(server.base_url + prefix + served_.UrlPath("manifest.json"));
  }
  std::string Last(const TestServer& server, const std::string& prefix = "") { return Run(server, prefix).back(); }

  void Arm(int k, const std::string& directives, const std::string& name) {
    std::string body, reason;
    ASSERT_EQ(
        FetchToMemory(fault_.base_url + "/arm/" + std::to_string(k) + "/" + directives + Escaped(served_.UrlPath(name)),
                      body, reason),
        200)
        << reason;
  }
  static std::string TakeLog() { return TakeLauncherLog(); }
  [[nodiscard]] std::map<std::string, std::string> GameFiles() const { return InstalledFiles(game_); }
  static std::map<std::string, std::string> AsMap(const std::vector<GameFile>& files) {
    std::map<std::string, std::string> map;
    for (const GameFile& f : files) map[f.caminho] = f.bytes;
    return map;
  }
  void Install(const std::vector<GameFile>& files) const {
    for (const GameFile& f : files) WriteTestFile(JoinRelative(game_, f.caminho), f.bytes);
  }
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
  [[nodiscard]] std::filesystem::path Staged(const std::string& caminho) const {
    return JoinRelative(StagingFolder(game_), caminho);
  }

  const TestServer nginx_ = NginxServer();
  const TestServer fault_ = FaultServer();
  ScopedFolders folders_;
  ServedFolder served_;
  TestClock clock_;
  EngineState state_;
  std::filesystem::path game_ = folders_.root() / "Jogo";
  std::vector<std::string> raw_;
  RunStatus pending_;
  std::vector<RunStatus> statuses_;
  std::vector<std::uint64_t> times_ms_;
  std::function<void(const std::string&)> on_message_;
  std::set<std::string> outside_before_;
};

TEST_F(HostileServer, APauseIsNotAFailedAttempt) {
  // One file of each kind; the block file differs from the installed one in three separate blocks,
  // so its missing blocks come in three range requests.
  const std::string old_big = CompressibleBytes(40 * kBlock, 3);
  std::string new_big = old_big;
  for (const std::size_t block : {5, 15, 25}) new_big.replace(block * kBlock, 100, 100, 'Z');
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
    EXPECT_EQ(Run(nginx_).back(), std::string("parado|") + kPause);
    EXPECT_TRUE(clock_.sleeps_ms.empty());
    const std::string log = TakeLog();
    EXPECT_EQ(log.find("falhou"), std::string::npos) << log;
    EXPECT_EQ(GameFiles(), AsMap(v1));
  }
  // The next run takes up where the last one stopped.
  on_message_ = nullptr;
  EXPECT_EQ(Last(nginx_), "pronto|Jogo atualizado.");
  EXPECT_EQ(GameFiles(), AsMap(v2));
}

// A 30 s back-off with the flag set 5 s into it: "parado" comes within one second of test time.
TEST_F(HostileServer, ABackOffWakesAtThePause) {
  const std::string old_big = CompressibleBytes(40 * kBlock, 3);
  std::string new_big = old_big;
  new_big.replace(9 * kBlock, 100, 100, 'Y');
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
      const std::uint64_t now_ms = clock_.now_ns / 1'000'000ULL;
      if (clock_.sleeps_ms.size() == 5 && long_sleep_start_ms == 0) long_sleep_start_ms = now_ms;
      if (set_at_ms == 0 && long_sleep_start_ms != 0 && now_ms >= long_sleep_start_ms + 5000) {
        state_.cancel_flag = 1;
        set_at_ms = now_ms;
      }
    };
    EXPECT_EQ(Run(fault_).back(), std::string("parado|") + kPause);
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
  EXPECT_EQ(GameFiles(), AsMap(v2));
}

TEST_F(HostileServer, AnEndlessOrHugeManifestIsAnInvalidManifest) {
  // The files come from nginx whichever way the manifest was fetched.
  Publish({{"a.pak", CompressibleBytes(1000, 41)}},
          [this](Manifest& m) { m.base = nginx_.base_url + served_.UrlPath(""); });
  for (const std::string prefix : {"/endless", "/pad/300000000"}) {
    SCOPED_TRACE(prefix);
    (void)TakeLog();
    EXPECT_EQ(Run(fault_, prefix),
              (std::vector<std::string>{"verificando|Buscando atualizações…",
                                        "erro|Servidor de atualização indisponível (manifesto inválido)."}));
    EXPECT_NE(TakeLog().find(": resposta grande demais"), std::string::npos);
    EXPECT_TRUE(GameFiles().empty());
  }
  // Just under the limit, the padding is only blanks: a valid manifest.
  EXPECT_EQ(Last(fault_, "/pad/1000000"), "pronto|Jogo atualizado.");
}

TEST_F(HostileServer, EndlessFileBodiesStopAtTheManifestSizes) {
  const std::vector<GameFile> v1 = {{"a.pak", CompressibleBytes(90000, 51)}};
  const std::vector<GameFile> v2 = {{"a.pak", CompressibleBytes(90000, 52)},
                                    {"b.pak", CompressibleBytes(200000, 53), Variant::kOrvz},
                                    {"c.pak", CompressibleBytes(10 * kBlock, 54), Variant::kOrvb}};  // nothing to reuse
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
    EXPECT_EQ(GameFiles(), AsMap(v1));
    const std::int64_t limit = FileSizeOf(JoinRelative(served_.path(), endless));
    for (const char* suffix : {".part", ".orvz.part", ".orvb.part"}) {
      EXPECT_LE(FileSizeOf(WithSuffix(Staged(caminho), suffix)), limit);
    }
    Arm(0, "endless", endless);
    for (const char* suffix : {".part", ".orvz.part", ".orvb.part"}) DeleteFileAt(WithSuffix(Staged(caminho), suffix));
  }
  EXPECT_EQ(Last(fault_), "pronto|Jogo atualizado.");
  EXPECT_EQ(GameFiles(), AsMap(v2));
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
  EXPECT_EQ(GameFiles(), AsMap(v1));
  on_message_ = nullptr;
  EXPECT_EQ(Last(nginx_), "pronto|Jogo atualizado.");
  EXPECT_EQ(GameFiles(), AsMap(v2));
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
  const std::map<std::string, std::string> before = GameFiles();
  EXPECT_EQ(Last(nginx_), "erro|Não foi possível instalar: pasta.pak e uma pasta");
  EXPECT_FALSE(PathExists(JournalPath(game_)));
  EXPECT_EQ(GameFiles(), before);
  std::filesystem::remove_all(game_ / "pasta.pak");
  EXPECT_EQ(Last(nginx_), "erro|Não foi possível instalar: dados e um arquivo");
  EXPECT_FALSE(PathExists(JournalPath(game_)));
  EXPECT_EQ(ReadTestFile(game_ / "a.pak"), "velho");
  DeleteFileAt(game_ / "dados");
  EXPECT_EQ(Last(nginx_), "pronto|Jogo atualizado.");
  EXPECT_EQ(GameFiles(), AsMap(v2));
}

// Entries aimed at the launcher's own files (the journal, the hash cache), a NUL that would cut a
// name short, and a second entry for one file: ignored, so no later run can be broken by them.
TEST_F(HostileServer, EntriesAimedAtTheLaunchersOwnFilesAreIgnored) {
  const std::vector<GameFile> v2 = {{"a.pak", CompressibleBytes(20000, 81)}};
  const std::string junk = "{\"trocas\":[";  // would be a corrupt journal
  WriteTestFile(folders_.root() / "fonte.bin", junk);
  const std::string digest = Sha256OfFile(folders_.root() / "fonte.bin", {}, nullptr);
  const std::vector<std::string> names = {
      ".atualizando/diario.json", ".orvlauncher/hashes.json",     ".ATUALIZANDO\\x", "./.orvlauncher/y",
      ".orvlauncher./z",          std::string("a.pak\0junk", 10), "a.pak",           "b/../a.pak"};
  Publish(v2, [&](Manifest& m) {
    for (const std::string& caminho : names) m.arquivos.push_back(UnservedEntry(caminho, digest, junk.size()));
  });
  (void)TakeLog();
  EXPECT_EQ(Last(nginx_), "pronto|Jogo atualizado.");
  EXPECT_EQ(GameFiles(), AsMap(v2));
  const std::string log = TakeLog();
  for (const char* ignored : {".atualizando/diario.json", ".orvlauncher/hashes.json", "./.orvlauncher/y"}) {
    EXPECT_NE(log.find(std::string("entrada ignorada: ") + ignored), std::string::npos) << ignored;
  }
  EXPECT_FALSE(PathExists(JournalPath(game_)));
  EXPECT_EQ(Last(nginx_), "pronto|Jogo atualizado.");
}

// Deep nesting in the manifest and in a hash cache left on disk: the first is an invalid manifest,
// the second an empty cache.
TEST_F(HostileServer, DeeplyNestedJsonIsRefusedWithoutACrash) {
  const std::string nested(1 << 20, '[');
  served_.Put("manifest.json", nested);
  EXPECT_EQ(Last(nginx_), "erro|Servidor de atualização indisponível (manifesto inválido).");
  const std::vector<GameFile> v2 = {{"a.pak", CompressibleBytes(20000, 91)}};
  Install(v2);
  Publish(v2);
  WriteTestFile(game_ / ".orvlauncher" / "hashes.json", std::string(1 << 20, '[') + std::string(1 << 20, ']'));
  EXPECT_EQ(Last(nginx_), "pronto|Jogo atualizado.");
}

// Names that mean something in a URL arrive under their own names, from a channel that orvpack
// published. Windows cannot hold "que?.txt": there the entry fails cleanly and installs nothing.
TEST_F(HostileServer, FileNamesWithUrlCharactersArrive) {
  const std::vector<GameFile> files = {{"100% pronto.txt", "cem"},
                                       {"C#/notas.txt", "notas"},
                                       {"%41.txt", "por cento, nao A"},
                                       {"ação + reação.txt", "física"},
                                       {"x;y=1&z.txt", "ponto e virgula"}};
  const std::filesystem::path build = folders_.root() / "build";
  for (const GameFile& f : files) WriteTestFile(JoinRelative(build, f.caminho), f.bytes);
#if !defined(_WIN32)
  WriteTestFile(build / "que?.txt", "pergunta");
#endif
  PublishOptions options;
  options.build = build;
  options.channel = served_.path();
  options.versao = "1";
  options.servidor = "1";
  PublishSummary summary;
  std::string error;
  ASSERT_TRUE(PublishChannel(options, {}, nullptr, summary, error)) << error;
  std::filesystem::remove_all(build);
  for (const GameFile& f : files) EXPECT_EQ(ReadTestFile(JoinRelative(served_.path(), f.caminho)), f.bytes);

  for (const TestServer* server : {&nginx_, &fault_}) {
    std::filesystem::remove_all(game_);
    EXPECT_EQ(Last(*server), "pronto|Jogo atualizado.");
    std::map<std::string, std::string> expected = AsMap(files);
#if !defined(_WIN32)
    expected["que?.txt"] = "pergunta";
#endif
    EXPECT_EQ(GameFiles(), expected);
  }
#if defined(_WIN32)
  // A hand-made manifest naming "que?.txt": the download cannot create it, the run says so.
  std::filesystem::remove_all(game_);
  served_.Put("que_.txt", "pergunta");
  std::string manifest = ReadTestFile(served_.path() / "manifest.json");
  WriteTestFile(folders_.root() / "fonte.bin", "pergunta");
  manifest.insert(manifest.find('[') + 1, "{\"caminho\":\"que?.txt\",\"sha256\":\"" +
                                              Sha256OfFile(folders_.root() / "fonte.bin", {}, nullptr) +
                                              "\",\"tamanho\":8},");
  served_.Put("manifest.json", manifest);
  const std::string last = Last(nginx_);
  EXPECT_TRUE(last.starts_with("erro|Falha ao baixar que?.txt")) << last;
  EXPECT_TRUE(GameFiles().empty());
  EXPECT_FALSE(PathExists(JournalPath(game_)));
#endif
}

TEST_F(HostileServer, ASwapScriptThatCannotBeWrittenSkipsTheSelfUpdate) {
  const std::string launcher = "MZ " + CompressibleBytes(4000, 95);
  served_.Put("OrvLauncher.exe", launcher);
  WriteTestFile(folders_.root() / "fonte.bin", launcher);
  const std::string digest = Sha256OfFile(folders_.root() / "fonte.bin", {}, nullptr);
  Publish({{"a.pak", CompressibleBytes(1000, 96)}}, [&digest](Manifest& m) {
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
