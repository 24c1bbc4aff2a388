// Whole verification runs ("verificar") against a channel published on the local nginx: the exact
// "estado" texts the page receives, the hash cache that lets a second run read no file data, bad
// manifests and entries, a damaged swap journal, and orvsync's exit codes. Natively and under Wine.
#include <gtest/gtest.h>

#include <cctype>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include "core/file_util.h"
#include "core/json.h"
#include "core/paths.h"
#include "support/noise_bytes.h"
#include "support/update_run_fixture.h"
#include "tools/common/console.h"
#include "tools/orvsync/orvsync.h"
#include "update/hash_cache.h"

namespace orv {

namespace {

namespace fs = std::filesystem;

// The suffix every message after the manifest carries, for the manifests PublishManifest writes.
const std::string kSuffix = R"(,"versaoCliente":"2.7.1","versaoServidor":"sul \"7\"")";

// An "estado" message as the page must receive it, spelled out here rather than by the engine's builder.
std::string Estado(const std::string& fase, const std::string& texto, int atual, int total, std::uint64_t bytes,
                   std::uint64_t bytes_total, const std::string& suffix = kSuffix) {
  return R"({"tipo":"estado","fase":")" + fase + R"(","texto":")" + texto + R"(","atual":)" + std::to_string(atual) +
         R"(,"total":)" + std::to_string(total) + R"(,"bytes":)" + std::to_string(bytes) + R"(,"bytesTotal":)" +
         std::to_string(bytes_total) + R"(,"velocidade":0)" + suffix + "}";
}

const std::string kSearching = Estado("verificando", "Buscando atualizações…", 0, 0, 0, 0, "");

// Manifest entries changed the ways a test needs: variant sizes that were never published, a
// digest that is not the file's.
ManifestEntry Compressed(ManifestEntry entry, std::uint64_t z_tamanho) {
  entry.zTamanho = z_tamanho;
  return entry;
}
ManifestEntry Blocked(ManifestEntry entry, std::uint64_t bloco, std::uint64_t b_tamanho, const std::string& blocos) {
  entry.bloco = bloco;
  entry.bTamanho = b_tamanho;
  entry.blocos = blocos;
  return entry;
}
ManifestEntry WithDigest(ManifestEntry entry, const std::string& sha256) {
  entry.sha256 = sha256;
  return entry;
}
LauncherEntry Launcher(const std::string& versao, const std::string& sha256) {
  return LauncherEntry{.present = true, .versao = versao, .sha256 = sha256};
}

class VerifyRun : public UpdateRunFixture {
 protected:
  void SetUp() override {
    UpdateRunFixture::SetUp();
    manifesto_ = nginx_.base_url + served_.UrlPath("manifest.json");
  }

  // Publishes `bytes` under `caminho` and returns its manifest entry.
  [[nodiscard]] ManifestEntry Entry(const std::string& caminho, const std::string& bytes) const {
    return TestChannel(served_.path()).Serve(caminho, bytes);
  }
  void PublishManifest(const std::vector<ManifestEntry>& entries, const LauncherEntry& launcher = {}) {
    TestChannel channel(served_.path());
    channel.manifest.versao = "2.7.1";
    channel.manifest.servidor = "sul \"7\"";
    channel.manifest.arquivos = entries;
    channel.manifest.launcher = launcher;
    channel.Write();
  }
  [[nodiscard]] fs::path Installed(const std::string& caminho) const { return JoinRelative(game_, caminho); }
  void Install(const std::string& caminho, const std::string& bytes) { WriteTestFile(Installed(caminho), bytes); }
  void Stage(const std::string& caminho, const std::string& bytes) { WriteTestFile(Staged(caminho), bytes); }
  // The "estado" messages of one verification, as the page receives them.
  std::vector<std::string> Verify() {
    RunOnce(manifesto_, /*apply=*/false);
    return raw_;
  }

  std::string manifesto_;
};

TEST_F(VerifyRun, CurrentFolderIsUpToDateAndIsThenReverifiedWithoutReadingFileData) {
  const std::string a = NoiseBytes(300000, 1), c = NoiseBytes(1000, 2);
  PublishManifest({Entry("dados/a.pak", a), Entry("b\\sub\\c.bin", c), Entry("vazio.txt", "")});
  Install("dados/a.pak", a);
  Install("b\\sub\\c.bin", c);
  Install("vazio.txt", "");
  // Whole seconds, so the time can be put back exactly even where the library sets seconds only.
  const fs::path a_path = Installed("dados/a.pak");
  const auto a_time = fs::last_write_time(a_path);
  fs::last_write_time(a_path, a_time);

  // First run: every file is hashed once, with the bytes of the files before it.
  const std::uint64_t total = 301000;
  EXPECT_EQ(Verify(), (std::vector<std::string>{
                          kSearching,
                          Estado("verificando", "Verificando arquivos 1/3", 1, 3, 0, total),
                          Estado("verificando", "Verificando arquivos 2/3", 2, 3, 300000, total),
                          Estado("verificando", "Verificando arquivos 3/3", 3, 3, total, total),
                          Estado("pronto", "Jogo atualizado.", 3, 3, total, total),
                      }));
  const fs::path cache_path = HashCachePath(game_);
  const std::string cache_text = ReadTestFile(cache_path);
  ASSERT_NE(cache_text.find("\"dados/a.pak\""), std::string::npos);
  fs::last_write_time(cache_path, fs::last_write_time(cache_path) - std::chrono::hours(1));
  const std::uint64_t cache_time = FileWriteTime(cache_path);

  // Other bytes of the same size with the same time: only reading the data could tell. The second
  // run still calls the folder current and hashes nothing, and hashes.json is not written again.
  const std::uint64_t a_filetime = FileWriteTime(a_path);
  WriteTestFile(a_path, NoiseBytes(300000, 3));
  fs::last_write_time(a_path, a_time);
  ASSERT_EQ(FileWriteTime(a_path), a_filetime) << "could not put the write time back";
  EXPECT_EQ(Verify(), (std::vector<std::string>{kSearching, Estado("pronto", "Jogo atualizado.", 3, 3, total, total)}));
  EXPECT_EQ(FileWriteTime(cache_path), cache_time);
  EXPECT_EQ(ReadTestFile(cache_path), cache_text);

  // A new write time: that one file is hashed again, found different, and one file is due.
  fs::last_write_time(a_path, a_time + std::chrono::seconds(10));
  EXPECT_EQ(Verify(), (std::vector<std::string>{
                          kSearching,
                          Estado("verificando", "Verificando arquivos 1/3", 1, 3, 0, total),
                          Estado("desatualizado", "Atualização disponível: 1 arquivo, 0,3 MB.", 0, 1, 0, 300000),
                      }));
  EXPECT_NE(ReadTestFile(cache_path), cache_text);
}

TEST_F(VerifyRun, OutdatedFolderReportsWhatAnUpdateWouldFetch) {
  // Four blocks of 4096 bytes; the installed copy holds three of them, moved around.
  const std::string blocks = NoiseBytes(16384, 10);
  std::string block_digests;
  for (std::size_t at = 0; at < blocks.size(); at += 4096) block_digests += Sha256OfBuffer(blocks.data() + at, 4096);
  const std::string ok = NoiseBytes(100, 11), novo = NoiseBytes(3000, 12), mudou = NoiseBytes(5000, 13),
                    pronto = NoiseBytes(209715, 14);
  const std::vector<ManifestEntry> entries = {
      Entry("ok.txt", ok),         Compressed(Entry("novo.bin", novo), 1048576),
      Entry("mudou.bin", mudou),   Blocked(Entry("blocos.pak", blocks), 4096, 10000, block_digests),
      Entry("pronto.txt", pronto),
  };
  PublishManifest(entries);
  Install("ok.txt", ok);
  Install("mudou.bin", NoiseBytes(5000, 15));
  Install("blocos.pak", blocks.substr(12288, 4096) + blocks.substr(4096, 4096) + blocks.substr(0, 4096));
  Stage("mudou.bin", NoiseBytes(5000, 16));  // the right size, the wrong bytes
  Stage("pronto.txt", pronto);

  // novo.bin: its .orvz size. mudou.bin: whole, its staged copy is no good. blocos.pak: one block
  // of four is found nowhere in the installed file, so a quarter of the .orvb. pronto.txt: staged.
  const std::uint64_t total = 100 + 3000 + 5000 + 16384 + 209715;
  const std::uint64_t planned = 1048576 + 5000 + 2500;
  EXPECT_EQ(Verify(),
            (std::vector<std::string>{
                kSearching,
                Estado("verificando", "Verificando arquivos 1/5", 1, 5, 0, total),
                Estado("verificando", "Verificando arquivos 3/5", 3, 5, 3100, total),
                Estado("verificando", "Retomando arquivos já baixados 3/5", 3, 5, 8100, total),
                Estado("verificando", "Comparando blocos 4/5", 4, 5, 24484, total),
                Estado("verificando", "Retomando arquivos já baixados 5/5", 5, 5, total, total),
                Estado("desatualizado", "Atualização disponível: 3 arquivos, 1,0 MB. Já baixado antes: 0,2 MB.", 0, 3,
                       0, planned),
            }));
  EXPECT_FALSE(fs::exists(Installed("novo.bin")));  // verification downloads and installs nothing
  EXPECT_EQ(ReadTestFile(Installed("mudou.bin")), NoiseBytes(5000, 15));

  // Everything else current: only the staged file is left to install.
  Install("novo.bin", novo);
  Install("mudou.bin", mudou);
  Install("blocos.pak", blocks);
  EXPECT_EQ(Verify().back(), Estado("desatualizado", "Atualização já baixada: falta só instalar.", 0, 0, 0, 0));

  // Only a newer launcher (ours with one more ".0" is not: UpdateRunLauncher's tests).
  Install("pronto.txt", pronto);
  PublishManifest(entries, Launcher("1.2.10", std::string(64, 'd')));
  EXPECT_EQ(Verify().back(), Estado("desatualizado", "Nova versão do launcher disponível.", 0, 0, 0, 0));
}

TEST_F(VerifyRun, BadManifestsEndTheRunAndBadEntriesAreSkipped) {
  const std::string url = manifesto_;
  const std::string unavailable = "Servidor de atualização indisponível (manifesto inválido).";
  // Refused (which texts: Manifest.RejectsTextsThatAreNotAManifest): the page text, no version.
  served_.Put("manifest.json", "{\"versao\":\"9\",\"arquivos\":{}}");
  EXPECT_EQ(Verify(), (std::vector<std::string>{kSearching, Estado("erro", unavailable, 0, 0, 0, 0, "")}));
  EXPECT_NE(LauncherLog().find("] manifesto " + url + ": JSON invalido\r\n"), std::string::npos);
  // Not there at all: the transfer's reason.
  manifesto_ = nginx_.base_url + served_.UrlPath("sumiu.json");
  EXPECT_EQ(Verify(), (std::vector<std::string>{
                          kSearching,
                          Estado("erro", "Servidor de atualização indisponível (HTTP 404).", 0, 0, 0, 0, ""),
                      }));
  EXPECT_NE(LauncherLog().find("] manifesto " + manifesto_ + ": HTTP 404\r\n"), std::string::npos);
  manifesto_ = url;

  // Entries that would leave the game folder or carry a malformed digest count nowhere (their log
  // lines: Manifest.UnsafeMalformedOrHarmfulEntriesAreSkippedAndLogged). Beside the game folder lies
  // a file one of them names; it must not even be read.
  const fs::path outside = folders_.root() / "fora.txt";
  WriteTestFile(outside, "original");
  const std::string bom = NoiseBytes(50, 20), maius = NoiseBytes(70, 21);
  served_.Put("maius.txt", maius);
  std::string upper = Sha256OfFile(JoinRelative(served_.path(), "maius.txt"), {}, nullptr);
  for (char& ch : upper) ch = static_cast<char>(std::toupper(static_cast<unsigned char>(ch)));
  const std::string other(64, 'e');
  PublishManifest({
      Entry("bom.txt", bom),
      UnservedEntry("../fora.txt", other, 8),
      UnservedEntry("x:y.txt", other, 8),
      UnservedEntry("/abs.txt", other, 8),
      UnservedEntry("\\abs.txt", other, 8),
      WithDigest(Entry("maius.txt", maius), upper),
      UnservedEntry("curto.txt", other.substr(1), 8),
      // One block digest short of 200 / 64 rounded up: no block variant, so the .orvz size counts.
      Compressed(Blocked(Entry("blocos.txt", NoiseBytes(200, 22)), 64, 999, std::string(96, 'f')), 120),
  });
  Install("bom.txt", bom);
  Install("maius.txt", maius);
  Install("blocos.txt", NoiseBytes(150, 23));
  const std::string due = Estado("desatualizado", "Atualização disponível: 2 arquivos, 0,0 MB.", 0, 2, 0, 70 + 120);
  EXPECT_EQ(Verify(), (std::vector<std::string>{
                          kSearching,
                          Estado("verificando", "Verificando arquivos 1/3", 1, 3, 0, 320),
                          Estado("verificando", "Verificando arquivos 2/3", 2, 3, 50, 320),
                          due,
                      }));
  // An uppercase digest never matches, also when the cache answers for the file.
  EXPECT_EQ(Verify(), (std::vector<std::string>{kSearching, due}));
  EXPECT_EQ(ReadTestFile(outside), "original");
  EXPECT_EQ(ReadTestFile(HashCachePath(game_)).find("fora"), std::string::npos);
  EXPECT_FALSE(fs::exists(StagingFolder(game_)));
}

TEST_F(VerifyRun, DamagedJournalBlocksTheRunUntilRemovedByHand) {
  PublishManifest({});
  Stage("a.txt", "novo");
  const std::string truncated = "{\"trocas\":[\"a.t";
  WriteTestFile(JournalPath(game_), truncated);
  const std::string blocked = Estado("erro", "Atualização interrompida: diario corrompido", 0, 0, 0, 0, "");
  EXPECT_EQ(Verify(), std::vector<std::string>{blocked});
  EXPECT_EQ(ReadTestFile(JournalPath(game_)), truncated);  // so the next run is blocked alike
  EXPECT_EQ(ReadTestFile(Staged("a.txt")), "novo");
  EXPECT_FALSE(fs::exists(Installed("a.txt")));
  EXPECT_TRUE(RequestsFor(nginx_, served_.UrlPath("manifest.json"), 0).empty());

  // Gone: an empty file list without versions is current, with zero counters and "?" versions.
  fs::remove(JournalPath(game_));
  served_.Put("manifest.json", "{\"arquivos\":[]}");
  const std::string unknown = R"(,"versaoCliente":"?","versaoServidor":"?")";
  EXPECT_EQ(Verify(),
            (std::vector<std::string>{kSearching, Estado("pronto", "Jogo atualizado.", 0, 0, 0, 0, unknown)}));
}

// orvsync drives the same run; its exit code tells a script what the last "estado" said.
TEST_F(VerifyRun, OrvsyncExitCodes) {
  const std::string bytes = NoiseBytes(4096, 30);
  PublishManifest({Entry("jogo.pak", bytes)});
  const auto run = [this](const std::string& url, std::string& out) {
    ::testing::internal::CaptureStdout();
    const int code = OrvsyncMain({"verificar", url, PathToUtf8(game_), "--json"});
    out = ::testing::internal::GetCapturedStdout();
    // The tool points Ctrl+C at its own run's flag; this process outlives that run.
    CancelOnInterrupt(nullptr);
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
    return code;
  };
  std::string out;
  EXPECT_EQ(run(manifesto_, out), 1);
  EXPECT_NE(out.find(Estado("desatualizado", "Atualização disponível: 1 arquivo, 0,0 MB.", 0, 1, 0, 4096) + "\n"),
            std::string::npos)
      << out;
  Install("jogo.pak", bytes);
  EXPECT_EQ(run(manifesto_, out), 0);
  EXPECT_EQ(out.substr(out.rfind('{')), Estado("pronto", "Jogo atualizado.", 1, 1, 4096, 4096) + "\n");
  // Its last "estado": VerifyRun.BadManifestsEndTheRunAndBadEntriesAreSkipped.
  EXPECT_EQ(run(nginx_.base_url + served_.UrlPath("sumiu.json"), out), 2);
}

}  // namespace

}  // namespace orv
