// Update runs ("atualizar") end to end against nginx and the fault server (see
// support/update_run_fixture.h): what the page is told, what the log says, what the servers were
// asked for and the folder's bytes afterwards.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/file_util.h"
#include "core/paths.h"
#include "formats/codec/compression_algorithm.h"
#include "formats/orvb.h"
#include "formats/pack_writer.h"
#include "support/noise_bytes.h"
#include "support/update_run_fixture.h"
#include "tests/formats/file_builders.h"
#include "update/self_update.h"
#include "update/work_files.h"

namespace orv {

namespace {

using UpdateRun = UpdateRunFixture;

TEST_F(UpdateRun, BringsAFolderFromVersionOneToVersionTwo) {
  const std::string big_v1 = CompressibleBytes(48 * kRunBlock - 1000, 4);  // the last block is short
  std::string big_v2 = big_v1;
  for (const std::size_t block : {5, 6, 30}) big_v2.replace(block * kRunBlock + 100, 64, 64, 'Z');
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
  Install(v1);
  Publish(v2);
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
  EXPECT_EQ(Differences(v2), "");
  EXPECT_FALSE(PathExists(StagingFolder(game_)));
  EXPECT_TRUE(clock_.sleeps_ms.empty());

  // Only the changed blocks came from the server, so verification's digests reached the transfer:
  // the table, then one range per run of adjacent blocks (which ranges: BlockDelta's tests).
  const std::string orvb = ReadTestFile(JoinRelative(served_.path(), "dados/grande.pak.orvb"));
  OrvbTable table;
  std::string error;
  ASSERT_TRUE(ReadOrvbTable({reinterpret_cast<const std::uint8_t*>(orvb.data()), orvb.size()}, table, error)) << error;
  const auto ranges = RequestsFor(nginx_, served_.UrlPath("dados/grande.pak.orvb"), 3);
  ASSERT_EQ(ranges.size(), 3u);
  const std::uint64_t block_bytes =
      table.blocks[5].stored_length + table.blocks[6].stored_length + table.blocks[30].stored_length;
  EXPECT_EQ(ranges[1].body_bytes + ranges[2].body_bytes, block_bytes);
  for (const char* name : {"OrvGame.exe", "dados/mapas/ação.pak.orvz"})
    EXPECT_EQ(Requests(nginx_, name, 1), 1u) << name;
  EXPECT_EQ(Requests(nginx_, "dados/novo/extra.bin.orvb", 2), 2u);  // nothing to reuse: the table, the whole
  for (const char* name : {"leiame.txt", "dados/mapas/ação.pak", "dados/grande.pak", "dados/novo/extra.bin"}) {
    EXPECT_EQ(Requests(nginx_, name), 0u) << name;
  }
  // "bytes" counts the bodies of the fetched files and blocks (not the block table), and the final
  // hash of each assembled block file.
  ASSERT_FALSE(progress_.empty());
  EXPECT_EQ(progress_.back(), s0 + z2 + block_bytes + s3 + b4 + s4);

  // Second run: the refreshed hash cache answers for every file; nothing is hashed or fetched.
  EXPECT_EQ(Run(nginx_), (std::vector<std::string>{expected.front(), expected.back()}));
  EXPECT_EQ(Requests(nginx_, "manifest.json", 2), 2u);
  for (const char* name : {"OrvGame.exe", "dados/mapas/ação.pak.orvz"}) EXPECT_EQ(Requests(nginx_, name), 1u) << name;
  EXPECT_EQ(Requests(nginx_, "dados/grande.pak.orvb"), 3u);
  EXPECT_EQ(Requests(nginx_, "dados/novo/extra.bin.orvb"), 2u);
}

// The files of the retry scenarios: every one changes size from version to version.
struct RetryVersions {
  std::vector<GameFile> v1 = {{"a.pak", CompressibleBytes(300000, 41)},
                              {"b.pak", CompressibleBytes(200000, 42), Variant::kOrvz},
                              {"c.pak", CompressibleBytes(50000, 43)}};
  std::vector<GameFile> v2 = {{"a.pak", CompressibleBytes(310000, 51)},
                              {"b.pak", CompressibleBytes(210000, 52), Variant::kOrvz},
                              {"c.pak", CompressibleBytes(60000, 53)}};
  std::vector<GameFile> v3 = {{"a.pak", CompressibleBytes(320000, 61)},
                              {"b.pak", CompressibleBytes(220000, 62), Variant::kOrvz},
                              {"c.pak", CompressibleBytes(65000, 63)}};
};

// Cut connections and 500s are retried, each file counting its own attempts (so its own pauses);
// a short stall is no failure.
TEST_F(UpdateRun, RetriesCutsErrorsAndStalls) {
  const RetryVersions files;
  const std::vector<GameFile>& v2 = files.v2;
  Install(files.v1);
  Publish(v2);
  Arm(2, "cut/100000", "a.pak");
  Arm(1, "status/500", "b.pak.orvz");
  Arm(1, "stall/300", "c.pak");
  const std::uint64_t sa = 310000, zb = published_["b.pak"].zTamanho, total = 310000 + 210000 + 60000;
  const std::uint64_t planned = sa + zb + 60000;
  EXPECT_EQ(Run(fault_), (std::vector<std::string>{
                             "verificando|Buscando atualizações…|0/0|0/0",
                             "baixando|Descompactando 2/3|2/3|" + S(sa + zb) + "/" + S(planned),
                             "instalando|Instalando…|3/3|" + S(planned) + "/" + S(planned),
                             "pronto|Jogo atualizado.|3/3|" + S(total) + "/" + S(total),
                         }));
  EXPECT_EQ(Differences(v2), "");
  EXPECT_EQ(clock_.sleeps_ms, (std::vector<std::uint32_t>{2000, 4000, 2000}));
  EXPECT_EQ(Requests(fault_, "a.pak", 3), 3u);
}

// Eight failed attempts: the failure names the file, with "atual" its index and "bytes" what was
// done before. Nothing is installed; the files finished before it wait in the staging folder, and
// the next run takes them as they are and fetches only the one that failed.
TEST_F(UpdateRun, EightFailedAttemptsNameTheFileAndTheNextRunResumes) {
  const RetryVersions files;
  const std::vector<GameFile>&v2 = files.v2, &v3 = files.v3;
  UpdatedTo(files.v1, v2, "2.0");
  Publish(v3, "3.0");
  Arm(8, "status/500", "c.pak");
  const std::uint64_t sa = 320000, zb = published_["b.pak"].zTamanho, total = 320000 + 220000 + 65000;
  const std::uint64_t planned = sa + zb + 65000;
  EXPECT_EQ(Run(fault_),
            (std::vector<std::string>{
                "verificando|Buscando atualizações…|0/0|0/0",
                "baixando|Descompactando 2/3|2/3|" + S(sa + zb) + "/" + S(planned),
                "erro|Falha ao baixar c.pak (HTTP 500). Tente de novo.|2/3|" + S(sa + zb) + "/" + S(planned),
            }));
  EXPECT_EQ(clock_.sleeps_ms.size(), 8u);  // the pauses and log lines themselves: RetryTransferTest
  EXPECT_EQ(Differences(v2), "");
  EXPECT_EQ(ReadTestFile(Staged("a.pak")), v3[0].bytes);

  clock_.sleeps_ms.clear();
  EXPECT_EQ(Run(fault_), (std::vector<std::string>{
                             "verificando|Buscando atualizações…|0/0|0/0",
                             "verificando|Retomando arquivos já baixados 1/3|1/3|320000/" + S(total),
                             "verificando|Retomando arquivos já baixados 2/3|2/3|540000/" + S(total),
                             "instalando|Instalando…|1/1|65000/65000",
                             "pronto|Jogo atualizado.|3/3|" + S(total) + "/" + S(total),
                         }));
  EXPECT_TRUE(Logged(TakeLog(), "retomando: 2 arquivo(s) ja baixado(s) em .atualizando"));
  EXPECT_EQ(Differences(v3), "");
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
};

// Cancelled during the back-off: the pause text, whose "bytes" include the partial file that an
// earlier run left. The next run resumes that file and counts it as done.
TEST_F(UpdateRunFromV2, PausesDuringTheBackOffAndTheNextRunResumes) {
  Install(v1_);
  Publish(v2_);
  WriteTestFile(Staged("c.pak.part"), v2_[2].bytes.substr(0, 50000));
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
  EXPECT_EQ(Differences(v1_), "");

  clock_.on_sleep = nullptr;
  EXPECT_EQ(Run(fault_), (std::vector<std::string>{
                             "verificando|Buscando atualizações…|0/0|0/0",
                             "instalando|Instalando…|1/1|310000/310000",
                             "pronto|Jogo atualizado.|3/3|" + S(total) + "/" + S(total),
                         }));
  ASSERT_FALSE(progress_.empty());
  EXPECT_EQ(progress_.back(), 310000u);
  EXPECT_EQ(Differences(v2_), "");
  const auto c_requests = RequestsFor(fault_, served_.UrlPath("c.pak"), 2);
  ASSERT_EQ(c_requests.size(), 2u);
  EXPECT_EQ(c_requests[1].range, "bytes=50000-");
  EXPECT_EQ(clock_.sleeps_ms, (std::vector<std::uint32_t>{2000}));
}

// A corrupt download is deleted with its work files and reported at once, without a retry: bytes
// that are not the published digest, and an .orvz that does not unpack: a bomb as long as the
// published .orvz (64 KiB chunks of zeros under a header that claims a terabyte, which disagrees
// with "tamanho", so nothing is unpacked at all).
TEST_F(UpdateRunFromV2, ACorruptDownloadIsDeletedAndReportedWithoutARetry) {
  UpdatedTo(v1_, v2_, "2.0");
  const struct {
    const char* kind;
    std::size_t changed;   // index in v2_
    const char* served;    // what the server sends corrupt
    std::size_t requests;  // for `served` at nginx after the run, the set-up's included
  } cases[] = {{"hash errado", 2, "c.pak", 2}, {"bomba", 1, "b.pak.orvz", 1}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.kind);
    std::vector<GameFile> v3 = v2_;
    v3[c.changed].bytes = CompressibleBytes(v3[c.changed].bytes.size() + 10000, 77);
    Publish(v3, "3.0");
    const std::string& caminho = v3[c.changed].caminho;
    const bool packed = c.changed == 1;
    const std::uint64_t size = packed ? published_[caminho].zTamanho : published_[caminho].tamanho;
    std::string body = CompressibleBytes(size, 76);
    if (packed) {
      body = OrvzHeader(kAlgorithmXpressHuff, 65536, 1ull << 40);
      const std::string zeros = OrvzChunk(Container(kAlgorithmXpressHuff, std::string(65536, '\0')));
      ASSERT_LT(body.size() + 2 * zeros.size(), size);
      while (body.size() + zeros.size() <= size) body += zeros;
      body.resize(size, '\xff');
    }
    served_.Put(c.served, body);
    const std::string bytes = S(body.size()) + "/" + S(size);
    std::vector<std::string> expected = {"verificando|Buscando atualizações…|0/0|0/0"};
    if (packed) expected.push_back("baixando|Descompactando 1/1|1/1|" + bytes);
    expected.push_back("erro|Arquivo corrompido no download (" + caminho + "). Tente de novo.|0/1|" + bytes);
    EXPECT_EQ(Run(nginx_), expected);
    EXPECT_TRUE(Logged(TakeLog(), packed ? "descompactar b.pak falhou (arquivo comprimido invalido)"
                                         : "hash errado em c.pak (" + DigestOf(body) + "), apagando"));
    for (const char* work : {".part", ".orvz.part", ".descomp"}) EXPECT_FALSE(PathExists(Staged(caminho + work)));
    EXPECT_EQ(Requests(nginx_, c.served, c.requests), c.requests);
    EXPECT_TRUE(clock_.sleeps_ms.empty());
    EXPECT_EQ(Differences(v2_), "");
  }
}

// Every changed file already staged by an earlier run: nothing is fetched, install comes next. A
// crash between placing a result and deleting the download it came from left that download beside
// it; nothing of it stays.
TEST_F(UpdateRunFromV2, EveryChangedFileAlreadyStagedFetchesNothing) {
  UpdatedTo(v1_, v2_, "2.0");
  std::vector<GameFile> v5 = v2_;
  v5[0].bytes = CompressibleBytes(110000, 78);
  v5[1].bytes = CompressibleBytes(130000, 79);
  Publish(v5, "5.0");
  for (int i : {0, 1}) WriteTestFile(Staged(v5[i].caminho), v5[i].bytes);
  WriteTestFile(WithSuffix(Staged("a.pak"), kOrvbPartialSuffix), "blocos");
  WriteTestFile(WithSuffix(Staged("b.pak"), kOrvzPartialSuffix), "compactado");
  const std::uint64_t total5 = 110000 + 130000 + 310000;
  EXPECT_EQ(Run(nginx_), (std::vector<std::string>{
                             "verificando|Buscando atualizações…|0/0|0/0",
                             "verificando|Retomando arquivos já baixados 1/3|1/3|110000/" + S(total5),
                             "verificando|Retomando arquivos já baixados 2/3|2/3|240000/" + S(total5),
                             "instalando|Instalando…|0/0|0/0",
                             "pronto|Jogo atualizado.|3/3|" + S(total5) + "/" + S(total5),
                         }));
  EXPECT_EQ(Differences(v5), "");
  EXPECT_FALSE(PathExists(StagingFolder(game_)));
  EXPECT_EQ(Requests(nginx_, "a.pak"), 0u);
  EXPECT_EQ(Requests(nginx_, "b.pak.orvz"), 0u);
}

// A game update at 1.0 and 2.0, and a new launcher served under its default name and another.
class UpdateRunLauncher : public UpdateRun {
 protected:
  void SetUp() override {
    UpdateRun::SetUp();
    Install(v1_);
    served_.Put("OrvLauncher.exe", launcher_);
    served_.Put("bin/OrvLauncher-1.3.exe", launcher_);
  }
  // Publishes `files` with `launcher` in the manifest.
  void PublishWith(const std::vector<GameFile>& files, const std::string& versao, const std::string& launcher_versao,
                   const std::string& sha256, const std::string& arquivo = "OrvLauncher.exe") {
    Publish(files, versao, [&](Manifest& m) {
      m.launcher = LauncherEntry{.present = true, .versao = launcher_versao, .sha256 = sha256, .arquivo = arquivo};
    });
  }

  const std::vector<GameFile> v1_ = {{"jogo.pak", CompressibleBytes(40000, 81)}};
  const std::vector<GameFile> v2_ = {{"jogo.pak", CompressibleBytes(45000, 82)}};
  const std::string launcher_ = "MZ novo launcher " + CompressibleBytes(5000, 83);
  const std::string digest_ = DigestOf(launcher_);
  const std::filesystem::path novo_ = GetModuleFolder() / "OrvLauncher.exe.novo";
  const std::filesystem::path script_ = GetDataFolder() / "troca.cmd";
};

// Our own version with one more ".0" is not newer: no download at all.
TEST_F(UpdateRunLauncher, OurOwnVersionHoweverSpelledIsNotDownloaded) {
  PublishWith(v1_, "1.0", "1.2.5.0", digest_);
  EXPECT_EQ(Run(nginx_).back(), "pronto|Jogo atualizado.|1/1|40000/40000");
  EXPECT_EQ(Requests(nginx_, "OrvLauncher.exe"), 0u);
  EXPECT_FALSE(PathExists(novo_));
  EXPECT_TRUE(state_.swap_script_path.empty());
}

// A newer one (under the default name) comes after the game files are installed; the run ends
// with the restart and leaves the script's path for the host.
TEST_F(UpdateRunLauncher, ANewerOneIsReplacedThroughTheSwapScript) {
  PublishWith(v2_, "2.0", "1.2.6", digest_);
  EXPECT_EQ(Run(nginx_), (std::vector<std::string>{
                             "verificando|Buscando atualizações…|0/0|0/0",
                             "instalando|Instalando…|1/1|45000/45000",
                             "reiniciar|Launcher atualizado. Reiniciando…|0/0|0/0",
                         }));
  EXPECT_EQ(Differences(v2_), "");
  EXPECT_EQ(ReadTestFile(novo_), launcher_);
  EXPECT_EQ(state_.swap_script_path, script_);
  EXPECT_EQ(ReadTestFile(script_), SwapScriptText(novo_, GetModulePath()));
  EXPECT_TRUE(Logged(TakeLog(), "launcher 1.2.6 baixado; troca pelo " + PathToUtf8(script_)));
}

// A new launcher that fails (a wrong digest; a download error, tried once and never retried) is
// logged and dropped with the leftover of an earlier try; the game update still ends well.
TEST_F(UpdateRunLauncher, AFailedNewLauncherIsLoggedAndDroppedWithItsLeftover) {
  UpdatedTo(v1_, v2_, "2.0");
  for (const bool wrong_digest : {true, false}) {
    SCOPED_TRACE(wrong_digest ? "hash errado" : "HTTP 500");
    WriteTestFile(novo_, "restos de uma tentativa antiga");
    const std::string arquivo = wrong_digest ? "OrvLauncher.exe" : "bin/OrvLauncher-1.3.exe";
    PublishWith(v2_, "2.0", "1.3", wrong_digest ? std::string(63, '0') + "1" : digest_, arquivo);
    if (!wrong_digest) Arm(1, "status/500", arquivo);
    EXPECT_EQ(Run(fault_).back(), "pronto|Jogo atualizado.|1/1|45000/45000");
    EXPECT_TRUE(
        Logged(TakeLog(), wrong_digest ? "launcher novo falhou: hash errado" : "launcher novo falhou: HTTP 500"));
    EXPECT_EQ(Requests(fault_, arquivo, 1), 1u);
    EXPECT_TRUE(clock_.sleeps_ms.empty());
    EXPECT_FALSE(PathExists(novo_));
    EXPECT_FALSE(PathExists(script_));
    EXPECT_TRUE(state_.swap_script_path.empty());
  }
}

}  // namespace

}  // namespace orv
