// Update runs ("atualizar") end to end: a channel published with the project's own writers into a
// folder that nginx and the fault server both serve, a game folder at an older version, and what the
// run leaves behind: the "estado" messages, the log, the server's requests and the folder's bytes.
// Back-off sleeps go through a clock that records them and never waits.
#include "update/update_run.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "core/file_util.h"
#include "core/json.h"
#include "core/paths.h"
#include "formats/codec/compression_algorithm.h"
#include "formats/orvb.h"
#include "formats/pack_writer.h"
#include "support/game_folder_view.h"
#include "support/noise_bytes.h"
#include "support/scoped_folders.h"
#include "support/test_channel.h"
#include "test_servers.h"
#include "tests/formats/file_builders.h"
#include "update/http_client.h"
#include "update/progress.h"
#include "update/self_update.h"
#include "update/sha256.h"
#include "update/swap_journal.h"

namespace orv {

namespace {

constexpr std::uint32_t kBlock = 16384;

// Moves 300 ms at every reading, so each progress call of a transfer is reported; sleeps are recorded.
class SteppingClock final : public Clock {
 public:
  std::uint64_t NowNs() override { return now_ns += 300'000'000ULL; }
  void SleepMs(std::uint32_t milliseconds) override {
    sleeps_ms.push_back(milliseconds);
    now_ns += std::uint64_t{milliseconds} * 1'000'000ULL;
    if (on_sleep) on_sleep();
  }
  // One recorded sleep per back-off, not one per poll slice.
  bool SleepUnlessCancelled(std::uint32_t milliseconds, const CancelFlag* cancel) override {
    if (cancel != nullptr && cancel->load() != 0) return false;
    SleepMs(milliseconds);
    return cancel == nullptr || cancel->load() == 0;
  }
  std::uint64_t now_ns = 0;
  std::vector<std::uint32_t> sleeps_ms;
  std::function<void()> on_sleep;
};

// The request target a client sends for a UTF-8 path: bytes outside ASCII percent-escaped.
std::string Escaped(std::string_view path) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string out;
  for (const unsigned char c : path) {
    if (c < 0x80) {
      out += static_cast<char>(c);
    } else {
      out += {'%', kHex[c >> 4], kHex[c & 15]};
    }
  }
  return out;
}

std::string S(std::uint64_t n) { return std::to_string(n); }
std::string Slashed(std::string path) {
  for (char& ch : path) ch = ch == '\\' ? '/' : ch;
  return path;
}

using Variant = TestChannel::Variant;
struct GameFile {
  std::string caminho;
  std::string bytes;
  Variant variant = Variant::kPlain;
};

// A launcher entry as the publisher writes it.
LauncherEntry Launcher(const std::string& versao, const std::string& sha256,
                       const std::string& arquivo = "OrvLauncher.exe") {
  return LauncherEntry{.present = true, .versao = versao, .sha256 = sha256, .arquivo = arquivo};
}

class UpdateRun : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_FALSE(nginx_.base_url.empty()) << "the http_nginx fixture is not running";
    ASSERT_FALSE(fault_.base_url.empty()) << "the http_fault fixture is not running";
    state_.clock = &clock_;
    state_.status_sink = [this](const RunStatus& status) { statuses_.push_back(status); };
    state_.progress_sink = [this](const std::string& text) { raw_.push_back(text); };
  }

  // Publishes one version as the publisher does: every file under its path, the chosen variant
  // beside it, and manifest.json.
  void Publish(const std::vector<GameFile>& files, const std::string& versao, const LauncherEntry& launcher = {}) {
    versao_ = versao;
    TestChannel channel(served_.path());
    channel.manifest.versao = versao;
    channel.manifest.servidor = "9.9";
    channel.manifest.launcher = launcher;
    for (const GameFile& file : files) {
      channel.Add(file.caminho, file.bytes, file.variant, kBlock);
      published_[file.caminho] = channel.manifest.arquivos.back();
    }
    channel.Write();
  }

  // One update run against `server`; returns its messages as "fase|texto|atual/total|bytes/bytesTotal",
  // the transfer's "Atualizando" messages left out (their "bytes" go to progress_).
  std::vector<std::string> Run(const TestServer& server) {
    raw_.clear();
    statuses_.clear();
    progress_.clear();
    Channel channel;
    channel.manifesto = server.base_url + served_.UrlPath("manifest.json");
    channel.pasta = game_;
    UpdateEngine::Run(state_, channel, /*apply=*/true);
    EXPECT_EQ(state_.run_active.load(), 0);
    std::vector<std::string> lines;
    EXPECT_EQ(statuses_.size(), raw_.size());
    for (std::size_t i = 0; i < raw_.size() && i < statuses_.size(); ++i) {
      // Every message after the first one knows the manifest's versions (only the page's text has them).
      JsonValue m;
      EXPECT_TRUE(ParseJson(raw_[i], m)) << raw_[i];
      EXPECT_EQ(m.Find("versaoCliente").AsString("-"), i == 0 ? "-" : versao_) << raw_[i];
      const RunStatus& st = statuses_[i];
      if (st.texto.rfind("Atualizando ", 0) == 0) {
        EXPECT_EQ(st.texto, "Atualizando " + S(st.atual) + "/" + S(st.total));
        EXPECT_GE(st.bytes, progress_.empty() ? 0 : progress_.back());
        progress_.push_back(st.bytes);
        continue;
      }
      lines.push_back(std::string(FaseName(st.phase)) + "|" + st.texto + "|" + S(st.atual) + "/" + S(st.total) + "|" +
                      S(st.bytes) + "/" + S(st.bytes_total));
    }
    return lines;
  }

  // The game folder holds `installed`, then an update to `published` runs against nginx without a
  // fault: the starting point of a scenario, with the hash cache filled and the log emptied.
  void UpdatedTo(const std::vector<GameFile>& installed, const std::vector<GameFile>& published,
                 const std::string& versao) {
    for (const GameFile& f : installed) WriteTestFile(JoinRelative(game_, f.caminho), f.bytes);
    Publish(published, versao);
    const std::vector<std::string> lines = Run(nginx_);
    ASSERT_FALSE(lines.empty());
    ASSERT_TRUE(lines.back().starts_with("pronto|")) << lines.back();
    ASSERT_EQ(GameFiles(), AsMap(published));
    (void)TakeLog();
  }

  // Requests the server logged for a published name, waiting for at least `at_least`.
  std::size_t Requests(const TestServer& server, const std::string& name, std::size_t at_least = 0) {
    return RequestsFor(server, Escaped(served_.UrlPath(name)), at_least).size();
  }
  // The next `k` requests for `name` at the fault server carry `directives`.
  void Arm(int k, const std::string& directives, const std::string& name) {
    std::string body, reason;
    ASSERT_EQ(
        FetchToMemory(fault_.base_url + "/arm/" + std::to_string(k) + "/" + directives + Escaped(served_.UrlPath(name)),
                      body, reason),
        200)
        << reason;
  }
  // The log written since the last call.
  static std::string TakeLog() { return TakeLauncherLog(); }
  static bool Logged(const std::string& log, const std::string& line) {
    return log.find("] " + line + "\r\n") != std::string::npos;
  }
  // The installed files by relative path ("/"-separated) as size and block digest; the staging
  // folder and the hash cache's folder are left out.
  [[nodiscard]] std::map<std::string, std::string> GameFiles() const {
    std::map<std::string, std::string> files;
    for (const auto& [relative, bytes] : InstalledFiles(game_)) files[relative] = Fingerprint(bytes);
    return files;
  }
  static std::string Fingerprint(const std::string& bytes) {
    return S(bytes.size()) + ":" + Sha256OfBuffer(bytes.data(), bytes.size());
  }
  [[nodiscard]] std::string DigestOf(const std::string& bytes) const {
    const std::filesystem::path file = folders_.root() / "digest.tmp";
    WriteTestFile(file, bytes);
    return Sha256OfFile(file, {}, nullptr);
  }
  static std::map<std::string, std::string> AsMap(const std::vector<GameFile>& files) {
    std::map<std::string, std::string> map;
    for (const GameFile& f : files) map[Slashed(f.caminho)] = Fingerprint(f.bytes);
    return map;
  }

  const TestServer nginx_ = NginxServer();
  const TestServer fault_ = FaultServer();
  ScopedFolders folders_;
  ServedFolder served_;
  SteppingClock clock_;
  EngineState state_;
  std::filesystem::path game_ = folders_.root() / "Jogo";
  std::string versao_;
  std::map<std::string, ManifestEntry> published_;
  std::vector<std::string> raw_;
  std::vector<RunStatus> statuses_;
  std::vector<std::uint64_t> progress_;
};

TEST_F(UpdateRun, BringsAFolderFromVersionOneToVersionTwo) {
  const std::string big_v1 = CompressibleBytes(48 * kBlock - 1000, 4);  // the last block is short
  std::string big_v2 = big_v1;
  for (const std::size_t block : {5, 6, 30}) big_v2.replace(block * kBlock + 100, 64, 64, 'Z');
  const std::vector<GameFile> v1 = {
      {"OrvGame.exe", CompressibleBytes(150000, 1)},
      {"leiame.txt", "Bem-vindo.\r\n"},
      {"dados\\mapas/ação.pak", CompressibleBytes(300000, 3), Variant::kOrvz},  // either separator
      {"dados/grande.pak", big_v1, Variant::kOrvb},
  };
  const std::vector<GameFile> v2 = {
      {"OrvGame.exe", CompressibleBytes(150000, 11)},  // same size: only its hash tells
      v1[1],
      {"dados\\mapas/ação.pak", CompressibleBytes(310000, 13), Variant::kOrvz},
      {"dados/grande.pak", big_v2, Variant::kOrvb},
      {"dados/novo/extra.bin", CompressibleBytes(70000, 15), Variant::kOrvb},  // nothing installed to reuse
  };
  for (const GameFile& f : v1) WriteTestFile(JoinRelative(game_, f.caminho), f.bytes);
  Publish(v2, "2.0");
  const std::uint64_t s0 = published_["OrvGame.exe"].tamanho, s1 = published_["leiame.txt"].tamanho,
                      s2 = published_["dados\\mapas/ação.pak"].tamanho, s3 = big_v2.size(),
                      s4 = published_["dados/novo/extra.bin"].tamanho, total = s0 + s1 + s2 + s3 + s4;
  const std::uint64_t z2 = published_["dados\\mapas/ação.pak"].zTamanho,
                      b4 = published_["dados/novo/extra.bin"].bTamanho, b3 = published_["dados/grande.pak"].bTamanho;
  const auto block_estimate = static_cast<std::uint64_t>(static_cast<double>(b3) * 3.0 / 48.0);
  const std::uint64_t planned = s0 + z2 + block_estimate + b4;

  // First run: files of the same size are hashed, the block file compared, the rest fetched.
  const std::vector<std::string> expected = {
      "verificando|Buscando atualizações…|0/0|0/0",
      "verificando|Verificando arquivos 1/5|1/5|0/" + S(total),
      "verificando|Verificando arquivos 2/5|2/5|" + S(s0) + "/" + S(total),
      "verificando|Verificando arquivos 4/5|4/5|" + S(s0 + s1 + s2) + "/" + S(total),
      "verificando|Comparando blocos 4/5|4/5|" + S(s0 + s1 + s2 + s3) + "/" + S(total),
      "baixando|Descompactando 2/4|2/4|" + S(s0 + z2) + "/" + S(planned),
      "instalando|Instalando…|4/4|" + S(planned) + "/" + S(planned),
      "pronto|Jogo atualizado.|5/5|" + S(total) + "/" + S(total),
  };
  EXPECT_EQ(Run(nginx_), expected);
  EXPECT_EQ(GameFiles(), AsMap(v2));
  EXPECT_FALSE(PathExists(StagingFolder(game_)));
  EXPECT_TRUE(clock_.sleeps_ms.empty());

  // Only the changed blocks came from the server: the table, then one range per run of adjacent blocks.
  const std::string orvb = ReadTestFile(JoinRelative(served_.path(), "dados/grande.pak.orvb"));
  OrvbTable table;
  std::string error;
  ASSERT_TRUE(ReadOrvbTable({reinterpret_cast<const std::uint8_t*>(orvb.data()), orvb.size()}, table, error)) << error;
  const auto range_of = [&](std::size_t a, std::size_t b) {
    return "bytes=" + S(table.blocks[a].offset) + "-" + S(table.blocks[b].offset + table.blocks[b].stored_length - 1);
  };
  const auto ranges = RequestsFor(nginx_, served_.UrlPath("dados/grande.pak.orvb"), 3);
  ASSERT_EQ(ranges.size(), 3u);
  EXPECT_EQ(ranges[0].range, "bytes=0-795");  // the header and the table of 48 blocks
  EXPECT_EQ(ranges[1].range, range_of(5, 6));
  EXPECT_EQ(ranges[2].range, range_of(30, 30));
  const std::uint64_t block_bytes =
      table.blocks[5].stored_length + table.blocks[6].stored_length + table.blocks[30].stored_length;
  EXPECT_EQ(ranges[1].body_bytes + ranges[2].body_bytes, block_bytes);
  for (const char* name : {"OrvGame.exe", "dados/mapas/ação.pak.orvz"})
    EXPECT_EQ(Requests(nginx_, name, 1), 1u) << name;
  // A block file with nothing to reuse: the table, then the whole .orvb in one request.
  const auto whole = RequestsFor(nginx_, served_.UrlPath("dados/novo/extra.bin.orvb"), 2);
  ASSERT_EQ(whole.size(), 2u);
  EXPECT_EQ(whole[1].range, "-");
  for (const char* name : {"leiame.txt", "dados/mapas/ação.pak", "dados/grande.pak", "dados/novo/extra.bin"}) {
    EXPECT_EQ(Requests(nginx_, name), 0u) << name;
  }
  // "bytes" counts the bodies of the fetched files and blocks (not the block table), and the final
  // hash of each assembled block file.
  ASSERT_FALSE(progress_.empty());
  EXPECT_EQ(progress_.back(), s0 + z2 + block_bytes + s3 + b4 + s4);
  RecordProperty("bytes", "reportados " + S(progress_.back()) + " = " + S(s0) + " + orvz " + S(z2) + " + blocos " +
                              S(block_bytes) + " + orvb " + S(b4) + " + hash montado " + S(s3 + s4) + "; mudados " +
                              S(s0 + s2 + 3 * kBlock + s4));

  // Second run: the refreshed hash cache answers for every file; nothing is hashed or fetched.
  EXPECT_EQ(Run(nginx_), (std::vector<std::string>{expected.front(), expected.back()}));
  EXPECT_EQ(Requests(nginx_, "manifest.json", 2), 2u);
  for (const char* name : {"OrvGame.exe", "dados/mapas/ação.pak.orvz"}) EXPECT_EQ(Requests(nginx_, name), 1u) << name;
  EXPECT_EQ(Requests(nginx_, "dados/grande.pak.orvb"), 3u);
  EXPECT_EQ(Requests(nginx_, "dados/novo/extra.bin.orvb"), 2u);
}

// The files of the retry scenarios: d.pak is a block file with one changed block in v2.
struct RetryVersions {
  std::string d_v1 = CompressibleBytes(32 * kBlock, 44);
  std::string d_v2 = [this] {
    std::string d = d_v1;
    d.replace(3 * kBlock, 10, "0123456789");
    return d;
  }();
  std::vector<GameFile> v1 = {{"a.pak", CompressibleBytes(300000, 41)},
                              {"b.pak", CompressibleBytes(200000, 42), Variant::kOrvz},
                              {"c.pak", CompressibleBytes(50000, 43)},
                              {"d.pak", d_v1, Variant::kOrvb}};
  std::vector<GameFile> v2 = {{"a.pak", CompressibleBytes(310000, 51)},
                              {"b.pak", CompressibleBytes(210000, 52), Variant::kOrvz},
                              {"c.pak", CompressibleBytes(60000, 53)},
                              {"d.pak", d_v2, Variant::kOrvb}};
  std::vector<GameFile> v3 = {{"a.pak", CompressibleBytes(320000, 61)},
                              {"b.pak", CompressibleBytes(220000, 62), Variant::kOrvz},
                              {"c.pak", CompressibleBytes(65000, 63)},
                              {"d.pak", d_v2, Variant::kOrvb}};
};

// Cut connections and 500s are retried with growing pauses, each file counting its own attempts;
// a cut download resumes from its partial file; a short stall is no failure; block ranges that
// the server answers whole (Range ignored) still give the right blocks.
TEST_F(UpdateRun, RetriesCutsErrorsStallsAndIgnoredRanges) {
  const RetryVersions files;
  const std::string& d_v2 = files.d_v2;
  const std::vector<GameFile>& v2 = files.v2;
  for (const GameFile& f : files.v1) WriteTestFile(JoinRelative(game_, f.caminho), f.bytes);
  Publish(v2, "2.0");
  Arm(2, "cut/100000", "a.pak");
  Arm(1, "status/500", "b.pak.orvz");
  Arm(1, "stall/300", "c.pak");
  Arm(2, "norange", "d.pak.orvb");
  const std::uint64_t sa = 310000, zb = published_["b.pak"].zTamanho, total = 310000 + 210000 + 60000 + d_v2.size();
  const std::uint64_t planned =
      sa + zb + 60000 + static_cast<std::uint64_t>(static_cast<double>(published_["d.pak"].bTamanho) / 32.0);
  EXPECT_EQ(Run(fault_), (std::vector<std::string>{
                             "verificando|Buscando atualizações…|0/0|0/0",
                             "verificando|Verificando arquivos 4/4|4/4|580000/" + S(total),
                             "verificando|Comparando blocos 4/4|4/4|" + S(total) + "/" + S(total),
                             "baixando|Descompactando 2/4|2/4|" + S(sa + zb) + "/" + S(planned),
                             "instalando|Instalando…|4/4|" + S(planned) + "/" + S(planned),
                             "pronto|Jogo atualizado.|4/4|" + S(total) + "/" + S(total),
                         }));
  EXPECT_EQ(GameFiles(), AsMap(v2));
  EXPECT_EQ(clock_.sleeps_ms, (std::vector<std::uint32_t>{2000, 4000, 2000}));
  const std::string log = TakeLog();
  EXPECT_NE(log.find("] download a.pak falhou (conexao caiu ("), std::string::npos) << log;
  EXPECT_NE(log.find("), tentativa 2\r\n"), std::string::npos) << log;
  EXPECT_TRUE(Logged(log, "download b.pak falhou (HTTP 500), tentativa 1")) << log;
  const auto a_requests = RequestsFor(fault_, served_.UrlPath("a.pak"), 3);
  ASSERT_EQ(a_requests.size(), 3u);
  EXPECT_EQ(a_requests[0].range, "-");
  // A later attempt resumes from what the cut one kept (WinHTTP under Wine keeps nothing of a read
  // that ends in a reset, so there it starts again from byte 0).
  for (const std::size_t i : {1, 2}) EXPECT_EQ(a_requests[i].status, a_requests[i].range == "-" ? 200 : 206);
  const auto d_requests = RequestsFor(fault_, served_.UrlPath("d.pak.orvb"), 2);
  ASSERT_EQ(d_requests.size(), 2u);  // the table, then block 3
  EXPECT_EQ(d_requests[1].status, 200);
}

// Eight failed attempts: pauses of 2, 4, 8, 15 and then 30 s (the last failure is followed by one
// too), and the failure names the file, with "atual" its index and "bytes" what was done before.
// Nothing is installed; the files finished before it wait in the staging folder, and the next run
// takes them as they are and fetches only the one that failed.
TEST_F(UpdateRun, EightFailedAttemptsNameTheFileAndTheNextRunResumes) {
  const RetryVersions files;
  const std::string& d_v2 = files.d_v2;
  const std::vector<GameFile>&v2 = files.v2, &v3 = files.v3;
  UpdatedTo(files.v1, v2, "2.0");
  Publish(v3, "3.0");
  Arm(8, "status/500", "c.pak");
  const std::uint64_t sa = 320000, zb = published_["b.pak"].zTamanho, total = 320000 + 220000 + 65000 + d_v2.size();
  const std::uint64_t planned = sa + zb + 65000;
  EXPECT_EQ(Run(fault_),
            (std::vector<std::string>{
                "verificando|Buscando atualizações…|0/0|0/0",
                "baixando|Descompactando 2/3|2/3|" + S(sa + zb) + "/" + S(planned),
                "erro|Falha ao baixar c.pak (HTTP 500). Tente de novo.|2/3|" + S(sa + zb) + "/" + S(planned),
            }));
  EXPECT_EQ(clock_.sleeps_ms, (std::vector<std::uint32_t>{2000, 4000, 8000, 15000, 30000, 30000, 30000, 30000}));
  const std::string log = TakeLog();
  for (int k = 1; k <= 8; ++k) {
    EXPECT_TRUE(Logged(log, "download c.pak falhou (HTTP 500), tentativa " + S(k))) << k;
  }
  EXPECT_EQ(log.find("tentativa 9"), std::string::npos);
  EXPECT_EQ(GameFiles(), AsMap(v2));
  EXPECT_EQ(ReadTestFile(JoinRelative(StagingFolder(game_), "a.pak")), v3[0].bytes);

  clock_.sleeps_ms.clear();
  EXPECT_EQ(Run(fault_), (std::vector<std::string>{
                             "verificando|Buscando atualizações…|0/0|0/0",
                             "verificando|Retomando arquivos já baixados 1/4|1/4|320000/" + S(total),
                             "verificando|Retomando arquivos já baixados 2/4|2/4|540000/" + S(total),
                             "instalando|Instalando…|1/1|65000/65000",
                             "pronto|Jogo atualizado.|4/4|" + S(total) + "/" + S(total),
                         }));
  EXPECT_TRUE(Logged(TakeLog(), "retomando: 2 arquivo(s) ja baixado(s) em .atualizando"));
  EXPECT_EQ(GameFiles(), AsMap(v3));
  EXPECT_TRUE(clock_.sleeps_ms.empty());
  EXPECT_EQ(Requests(fault_, "a.pak", 1), 1u);
  EXPECT_EQ(Requests(fault_, "b.pak.orvz", 1), 1u);
  EXPECT_EQ(Requests(fault_, "c.pak", 9), 9u);
}

// Three files in v1; v2 changes c.pak. The scenarios below start at v1 or from v2 installed.
class UpdateRunFromV2 : public UpdateRun {
 protected:
  UpdateRunFromV2() { v2_[2].bytes = CompressibleBytes(310000, 74); }

  const std::vector<GameFile> v1_ = {{"a.pak", CompressibleBytes(100000, 71)},
                                     {"b.pak", CompressibleBytes(120000, 72), Variant::kOrvz},
                                     {"c.pak", CompressibleBytes(300000, 73)}};
  std::vector<GameFile> v2_ = v1_;
  const std::filesystem::path staging_ = StagingFolder(game_);
};

// Cancelled during the back-off: the pause text, whose "bytes" include the partial file that an
// earlier run left. The next run resumes that file and counts it as done.
TEST_F(UpdateRunFromV2, PausesDuringTheBackOffAndTheNextRunResumes) {
  for (const GameFile& f : v1_) WriteTestFile(JoinRelative(game_, f.caminho), f.bytes);
  Publish(v2_, "2.0");
  WriteTestFile(JoinRelative(staging_, "c.pak.part"), v2_[2].bytes.substr(0, 50000));
  Arm(1, "status/500", "c.pak");
  clock_.on_sleep = [this] { state_.cancel_flag = 1; };
  const std::uint64_t total = 100000 + 120000 + 310000;
  EXPECT_EQ(Run(fault_), (std::vector<std::string>{
                             "verificando|Buscando atualizações…|0/0|0/0",
                             "verificando|Verificando arquivos 1/3|1/3|0/" + S(total),
                             "verificando|Verificando arquivos 2/3|2/3|100000/" + S(total),
                             "parado|Pausado. Continue depois de onde parou.|0/1|50000/310000",
                         }));
  EXPECT_EQ(clock_.sleeps_ms, (std::vector<std::uint32_t>{2000}));
  EXPECT_EQ(GameFiles(), AsMap(v1_));

  clock_.on_sleep = nullptr;
  EXPECT_EQ(Run(fault_), (std::vector<std::string>{
                             "verificando|Buscando atualizações…|0/0|0/0",
                             "instalando|Instalando…|1/1|310000/310000",
                             "pronto|Jogo atualizado.|3/3|" + S(total) + "/" + S(total),
                         }));
  ASSERT_FALSE(progress_.empty());
  EXPECT_EQ(progress_.back(), 310000u);
  EXPECT_EQ(GameFiles(), AsMap(v2_));
  const auto c_requests = RequestsFor(fault_, served_.UrlPath("c.pak"), 2);
  ASSERT_EQ(c_requests.size(), 2u);
  EXPECT_EQ(c_requests[1].range, "bytes=50000-");
  EXPECT_EQ(clock_.sleeps_ms, (std::vector<std::uint32_t>{2000}));
}

// A download whose hash is wrong is deleted and reported at once, without a retry.
TEST_F(UpdateRunFromV2, ADownloadWithAWrongHashIsDeletedAndNotRetried) {
  UpdatedTo(v1_, v2_, "2.0");
  std::vector<GameFile> v3 = v2_;
  v3[2].bytes = CompressibleBytes(320000, 75);
  Publish(v3, "3.0");
  const std::string wrong = CompressibleBytes(320000, 76);
  served_.Put("c.pak", wrong);
  EXPECT_EQ(Run(nginx_).back(), "erro|Arquivo corrompido no download (c.pak). Tente de novo.|0/1|320000/320000");
  EXPECT_TRUE(Logged(TakeLog(), "hash errado em c.pak (" + DigestOf(wrong) + "), apagando"));
  EXPECT_FALSE(PathExists(JoinRelative(staging_, "c.pak.part")));
  EXPECT_EQ(Requests(nginx_, "c.pak", 2), 2u);  // v2's during the set-up, then this one only
  EXPECT_TRUE(clock_.sleeps_ms.empty());
}

// A compressed file that does not unpack: both work files go, and the same corruption text.
TEST_F(UpdateRunFromV2, ACompressedFileThatDoesNotUnpackLeavesNoWorkFiles) {
  UpdatedTo(v1_, v2_, "2.0");
  std::vector<GameFile> v4 = v2_;
  v4[1].bytes = CompressibleBytes(130000, 77);
  Publish(v4, "4.0");
  const std::string garbage = "isto nao e um arquivo compactado";
  served_.Put("b.pak.orvz", garbage);
  const std::uint64_t zb = published_["b.pak"].zTamanho, n = garbage.size();
  EXPECT_EQ(Run(nginx_), (std::vector<std::string>{
                             "verificando|Buscando atualizações…|0/0|0/0",
                             "baixando|Descompactando 1/1|1/1|" + S(n) + "/" + S(zb),
                             "erro|Arquivo corrompido no download (b.pak). Tente de novo.|0/1|" + S(n) + "/" + S(zb),
                         }));
  EXPECT_TRUE(Logged(TakeLog(), "descompactar b.pak falhou (arquivo comprimido invalido)"));
  EXPECT_FALSE(PathExists(JoinRelative(staging_, "b.pak.orvz.part")));
  EXPECT_FALSE(PathExists(JoinRelative(staging_, "b.pak.descomp")));
  EXPECT_EQ(GameFiles(), AsMap(v2_));
}

// A bomb as long as the published .orvz: 64 KiB chunks of zeros under a header that claims a
// terabyte. It disagrees with "tamanho", so nothing is unpacked at all.
TEST_F(UpdateRunFromV2, ACompressionBombAsLongAsThePublishedFileUnpacksNothing) {
  UpdatedTo(v1_, v2_, "2.0");
  std::vector<GameFile> v4 = v2_;
  v4[1].bytes = CompressibleBytes(130000, 77);
  Publish(v4, "4.0");
  const std::uint64_t zb = published_["b.pak"].zTamanho;
  std::string bomb = OrvzHeader(kAlgorithmXpressHuff, 65536, 1ull << 40);
  const std::string zeros_chunk = OrvzChunk(Container(kAlgorithmXpressHuff, std::string(65536, '\0')));
  ASSERT_LT(bomb.size() + 2 * zeros_chunk.size(), zb);
  while (bomb.size() + zeros_chunk.size() <= zb) bomb += zeros_chunk;
  bomb.resize(zb, '\xff');
  served_.Put("b.pak.orvz", bomb);
  EXPECT_EQ(Run(nginx_).back(),
            "erro|Arquivo corrompido no download (b.pak). Tente de novo.|0/1|" + S(zb) + "/" + S(zb));
  EXPECT_TRUE(Logged(TakeLog(), "descompactar b.pak falhou (arquivo comprimido invalido)"));
  EXPECT_FALSE(PathExists(JoinRelative(staging_, "b.pak.orvz.part")));
  EXPECT_FALSE(PathExists(JoinRelative(staging_, "b.pak.descomp")));
  EXPECT_EQ(GameFiles(), AsMap(v2_));
}

// Every changed file already staged by an earlier run: nothing is fetched, install comes next.
TEST_F(UpdateRunFromV2, EveryChangedFileAlreadyStagedFetchesNothing) {
  UpdatedTo(v1_, v2_, "2.0");
  std::vector<GameFile> v5 = v2_;
  v5[0].bytes = CompressibleBytes(110000, 78);
  v5[1].bytes = CompressibleBytes(130000, 79);
  Publish(v5, "5.0");
  for (int i : {0, 1}) WriteTestFile(JoinRelative(staging_, v5[i].caminho), v5[i].bytes);
  const std::uint64_t total5 = 110000 + 130000 + 310000;
  EXPECT_EQ(Run(nginx_), (std::vector<std::string>{
                             "verificando|Buscando atualizações…|0/0|0/0",
                             "verificando|Retomando arquivos já baixados 1/3|1/3|110000/" + S(total5),
                             "verificando|Retomando arquivos já baixados 2/3|2/3|240000/" + S(total5),
                             "instalando|Instalando…|0/0|0/0",
                             "pronto|Jogo atualizado.|3/3|" + S(total5) + "/" + S(total5),
                         }));
  EXPECT_EQ(GameFiles(), AsMap(v5));
  EXPECT_EQ(Requests(nginx_, "a.pak"), 0u);
  EXPECT_EQ(Requests(nginx_, "b.pak.orvz"), 0u);
}

// A game update at 1.0 and 2.0, and a new launcher served under its default name and another.
class UpdateRunLauncher : public UpdateRun {
 protected:
  void SetUp() override {
    UpdateRun::SetUp();
    for (const GameFile& f : v1_) WriteTestFile(JoinRelative(game_, f.caminho), f.bytes);
    served_.Put("OrvLauncher.exe", launcher_);
    served_.Put("bin/OrvLauncher-1.3.exe", launcher_);
  }

  const std::vector<GameFile> v1_ = {{"jogo.pak", CompressibleBytes(40000, 81)}};
  const std::vector<GameFile> v2_ = {{"jogo.pak", CompressibleBytes(45000, 82)}};
  const std::string launcher_ = "MZ novo launcher " + CompressibleBytes(5000, 83);
  const std::string digest_ = DigestOf(launcher_);
  const std::filesystem::path novo_ = GetModuleFolder() / "OrvLauncher.exe.novo";
  const std::filesystem::path script_ = GetDataFolder() / "troca.cmd";
};

// Our own version, however spelled, is not newer: no download at all.
TEST_F(UpdateRunLauncher, OurOwnVersionHoweverSpelledIsNotDownloaded) {
  for (const std::string versao : {"1.2.5", "1.2.5.0"}) {
    Publish(v1_, "1.0", Launcher(versao, digest_));
    EXPECT_EQ(Run(nginx_).back(), "pronto|Jogo atualizado.|1/1|40000/40000") << versao;
  }
  EXPECT_EQ(Requests(nginx_, "OrvLauncher.exe"), 0u);
  EXPECT_FALSE(PathExists(novo_));
  EXPECT_TRUE(state_.swap_script_path.empty());
}

// A newer one (under the default name) comes after the game files are installed; the run ends
// with the restart and leaves the script's path for the host.
TEST_F(UpdateRunLauncher, ANewerOneIsReplacedThroughTheSwapScript) {
  Publish(v2_, "2.0", Launcher("1.2.6", digest_));
  EXPECT_EQ(Run(nginx_), (std::vector<std::string>{
                             "verificando|Buscando atualizações…|0/0|0/0",
                             "instalando|Instalando…|1/1|45000/45000",
                             "reiniciar|Launcher atualizado. Reiniciando…|0/0|0/0",
                         }));
  EXPECT_EQ(GameFiles(), AsMap(v2_));
  EXPECT_EQ(ReadTestFile(novo_), launcher_);
  EXPECT_EQ(state_.swap_script_path, script_);
  EXPECT_EQ(ReadTestFile(script_), SwapScriptText(novo_, GetModulePath()));
  EXPECT_TRUE(Logged(TakeLog(), "launcher 1.2.6 baixado; troca pelo " + PathToUtf8(script_)));
}

// A wrong digest is logged and dropped, a leftover new file included; the game update still ends well.
TEST_F(UpdateRunLauncher, AWrongDigestIsLoggedAndDropped) {
  UpdatedTo(v1_, v2_, "2.0");
  WriteTestFile(novo_, launcher_);  // left by an earlier run
  Publish(v2_, "2.0", Launcher("1.3", std::string(63, '0') + "1"));
  EXPECT_EQ(Run(nginx_).back(), "pronto|Jogo atualizado.|1/1|45000/45000");
  EXPECT_TRUE(Logged(TakeLog(), "launcher novo falhou: hash errado"));
  EXPECT_FALSE(PathExists(novo_));
  EXPECT_FALSE(PathExists(script_));
  EXPECT_TRUE(state_.swap_script_path.empty());
}

// A failed download (tried once, never retried) is logged and dropped, a leftover new file
// included; the game update still ends well.
TEST_F(UpdateRunLauncher, AFailedDownloadIsTriedOnceAndItsLeftoverDropped) {
  UpdatedTo(v1_, v2_, "2.0");
  WriteTestFile(novo_, "restos de uma tentativa antiga");
  Publish(v2_, "2.0", Launcher("1.3", digest_, "bin/OrvLauncher-1.3.exe"));
  Arm(1, "status/500", "bin/OrvLauncher-1.3.exe");
  EXPECT_EQ(Run(fault_).back(), "pronto|Jogo atualizado.|1/1|45000/45000");
  EXPECT_TRUE(Logged(TakeLog(), "launcher novo falhou: HTTP 500"));
  EXPECT_EQ(Requests(fault_, "bin/OrvLauncher-1.3.exe", 1), 1u);
  EXPECT_TRUE(clock_.sleeps_ms.empty());
  EXPECT_FALSE(PathExists(novo_));
  EXPECT_FALSE(PathExists(script_));
  EXPECT_TRUE(state_.swap_script_path.empty());
}

}  // namespace

}  // namespace orv
