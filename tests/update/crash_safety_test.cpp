// Whole orvsync processes updating a game folder from version 1 to version 2 of a generated build
// served by nginx: killed at random moments and started again, and blocked by a file the game holds
// open. Only separate processes show what a crash leaves on disk and what the next start makes of it.
//
//   ORV_CRASH_TRIALS  trials of the crash test (CTest passes the cache variable of the same name)
//   ORV_CRASH_SEED    repeats the kill moments of an earlier run (the seed is printed)
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "core/file_util.h"
#include "core/json.h"
#include "core/paths.h"
#include "support/child_process.h"
#include "support/game_folder_view.h"
#include "support/held_file.h"
#include "support/noise_bytes.h"
#include "support/temp_dir.h"
#include "test_servers.h"
#include "tools/orvpack/publish.h"
#include "update/manifest.h"
#include "update/swap_journal.h"
#include "update/work_files.h"

namespace orv {

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using Files = std::map<std::string, std::string>;  // "caminho" -> content

constexpr std::uint32_t kBlock = 64 << 10;

// ---- The game build: big files of every transfer kind, and many small ones so that the install
// (one flush and one journalled move per file) takes long enough to be hit.

std::string Numbered(const char* stem, std::uint32_t i, const char* extension) {
  char name[96];
  std::snprintf(name, sizeof(name), "%s%03u%s", stem, i, extension);
  return name;
}

Files BuildVersion(int version) {
  const bool v2 = version == 2;
  Files files;
  files["LEIAME.txt"] = CompressibleBytes(4000, 7);
  files["Conteúdo/Configuração/padrões.ini"] = "[Jogo]\nIdioma=pt-BR\n" + CompressibleBytes(400, 8);
  // Ranges: 4 of 32 blocks new; two more are copies of blocks found elsewhere in the old version.
  std::string world = CompressibleBytes(32 * kBlock, 11);
  if (v2) {
    for (const std::uint32_t block : {3, 10, 11, 19}) {
      world.replace(block * kBlock, kBlock, CompressibleBytes(kBlock, 100 + block));
    }
    world.replace(21 * kBlock, 2 * kBlock, world.substr(5 * kBlock, 2 * kBlock));
  }
  files["Conteudo/Paks/mundo.pak"] = world;
  // Too much new for ranges: the whole .orvb comes down, resumable.
  std::string voices = CompressibleBytes(24 * kBlock, 12);
  if (v2) voices.replace(0, 20 * kBlock, CompressibleBytes(20 * kBlock, 13));
  files["Conteudo/Paks/vozes.pak"] = voices;
  files["Binarios/Win64/ORV2.exe"] = "MZ" + CompressibleBytes(768 * 1024, v2 ? 22 : 21);  // .orvz
  files["Conteudo/Audio/música_tema.ogg"] = NoiseBytes(512 * 1024, v2 ? 32 : 31);         // whole
  for (std::uint32_t i = 0; i < 40; ++i) {                                                // small .orvz
    files[Numbered("Conteudo/Textos/falas_", i, ".txt")] =
        CompressibleBytes(2000 + 97 * i % 4000, 1000 + i) + (v2 ? "versão 2\n" : "");
  }
  for (std::uint32_t i = 0; i < 24; ++i) {  // small, whole
    files[Numbered("Conteudo/Dados/tabela_", i, ".bin")] =
        NoiseBytes(1024 + 61 * i % 2048, (v2 && i % 3 != 0 ? 3000 : 2000) + i);
  }
  if (v2) files["Conteudo/Mapas/ilha_nova.umap"] = CompressibleBytes(300 * 1024, 41);
  return files;
}

// ---- Folders

// Every file under `folder` but the launcher's own (hash cache); leftovers in the staging folder count.
Files ReadFolder(const fs::path& folder) { return InstalledFiles(folder, /*with_staging=*/true); }

constexpr char kMissing[] = "\x01<ausente>";  // no file has this content

std::string Content(const fs::path& path) {
  std::string bytes;
  return ReadWholeFile(path, bytes) ? bytes : std::string(kMissing);
}

// ---- The published channels and the server's view of them

struct Channel {
  std::string prefix;  // URL path of the channel folder, "/<served>/vN/"
  std::string manifest_url;
  Manifest manifest;
};

// The "caminho" a request was for (empty for the manifest and anything else).
std::string FileOfUri(const Channel& channel, const std::string& uri) {
  for (const ManifestEntry& entry : channel.manifest.arquivos) {
    for (const char* suffix : {"", ".orvz", ".orvb"}) {
      if (uri == EntryUrl(channel.prefix, entry.caminho, suffix)) return entry.caminho;
    }
  }
  return {};
}

// What the client holds of one file of version 2 at a moment.
enum class Held {
  kNothing,     // nothing, or a partial download
  kDownloaded,  // the downloaded bytes are complete but not yet checked and placed
  kDone,        // installed, or checked and waiting in the staging folder
};

Held HeldOf(const ManifestEntry& entry, const fs::path& game, const std::string& wanted) {
  const fs::path staged = JoinRelative(StagingFolder(game), entry.caminho);
  if (Content(JoinRelative(game, entry.caminho)) == wanted || Content(staged) == wanted) return Held::kDone;
  // Ranges are assembled into a .bloco that is rebuilt from scratch: only the whole-file kinds
  // leave a download that the next run must not fetch again.
  std::string_view suffix = entry.zTamanho > 0 ? kOrvzPartialSuffix : kPartialSuffix;
  std::uint64_t size = entry.zTamanho > 0 ? entry.zTamanho : entry.tamanho;
  if (entry.HasBlockVariant()) {
    suffix = kOrvbPartialSuffix;
    size = entry.bTamanho;
  }
  return FileSizeOf(WithSuffix(staged, suffix)) == static_cast<std::int64_t>(size) ? Held::kDownloaded : Held::kNothing;
}

// ---- One orvsync process

enum class Aim { kNone, kTransfer, kInstall };

struct Outcome {
  bool killed = false;
  int exit_code = -1;
  std::vector<std::string> lines;    // one JSON "estado" each
  std::vector<double> line_ms;       // when each was read, from the start
  std::optional<double> install_ms;  // when "Instalando…" was read, from the start
  double end_ms = 0;                 // when the output ended
};

std::string FaseOf(const std::string& line) {
  JsonValue estado;
  return ParseJson(line, estado) ? estado.Find("fase").AsString("") : std::string();
}

class CrashSafety : public testing::Test {
 protected:
  struct Rig {
    std::string failure;  // why the rig could not be made; empty when ready
    TempDir work;
    ServedFolder served;
    TestServer nginx = NginxServer();
    fs::path orvsync;
    Files v1 = BuildVersion(1);
    Files v2 = BuildVersion(2);
    Channel channel_v1;
    Channel channel_v2;
    fs::path installed_v1;       // a game folder at version 1, copied for every trial
    double transfer_ms = 0;      // an uninterrupted update's timeline: the last "verificando",
    double install_line_ms = 0;  // "Instalando…" and the end
    double end_ms = 0;
  };

  static void SetUpTestSuite() {
    rig_ = std::make_unique<Rig>();
    rig_->failure = Prepare(*rig_);
  }
  static void TearDownTestSuite() { rig_.reset(); }
  void SetUp() override { ASSERT_TRUE(rig_->failure.empty()) << rig_->failure; }

  static std::string Publish(Rig& rig, const Files& files, const std::string& version, Channel& channel) {
    const fs::path build = rig.work / ("build-" + version);
    for (const auto& [name, bytes] : files) WriteTestFile(JoinRelative(build, name), bytes);
    PublishOptions options;
    options.build = build;
    options.channel = JoinRelative(rig.served.path(), version);
    options.versao = version;
    options.servidor = "1";
    options.block_min = 1 << 20;  // the two packs get blocks, everything else whole or .orvz
    options.block_size = kBlock;
    PublishSummary summary;
    std::string error;
    if (!PublishChannel(options, {}, nullptr, summary, error)) return "publicar " + version + ": " + error;
    channel.prefix = rig.served.UrlPath(version + "/");
    channel.manifest_url = rig.nginx.base_url + channel.prefix + "manifest.json";
    std::string text;
    if (!ReadWholeFile(JoinRelative(options.channel, "manifest.json"), text) ||
        !ParseManifest(text, channel.manifest_url, channel.manifest)) {
      return "manifesto de " + version + " ilegivel";
    }
    if (summary.compressed == 0 || summary.blocked != 2) return "variantes inesperadas em " + version;
    return {};
  }

  static std::string Prepare(Rig& rig) {
    if (rig.nginx.base_url.empty()) return "nginx fixture not running (ORV_TEST_SERVERS)";
    const char* program = std::getenv("ORV_ORVSYNC");
    if (program == nullptr) return "ORV_ORVSYNC is not set";
    rig.orvsync = PathFromUtf8(program);
    for (const auto& [files, version, channel] :
         {std::tuple{&rig.v1, "v1", &rig.channel_v1}, std::tuple{&rig.v2, "v2", &rig.channel_v2}}) {
      if (std::string failure = Publish(rig, *files, version, *channel); !failure.empty()) return failure;
    }
    rig.installed_v1 = rig.work / "instalado-v1";
    const Outcome install = Sync(rig.installed_v1, rig.channel_v1, Aim::kNone, {});
    if (install.exit_code != 0) {
      return "instalar v1 falhou (" + std::to_string(install.exit_code) +
             "): " + (install.lines.empty() ? "" : install.lines.back());
    }
    if (ReadFolder(rig.installed_v1) != rig.v1) return "v1 instalada difere do build";

    // One uninterrupted update gives the timeline the kills aim at.
    const fs::path game = rig.work / "medida";
    fs::copy(rig.installed_v1, game, fs::copy_options::recursive);
    const Outcome outcome = Sync(game, rig.channel_v2, Aim::kNone, {});
    if (outcome.exit_code != 0 || !outcome.install_ms) {
      return "atualizacao sem interrupcao falhou: " + (outcome.lines.empty() ? "" : outcome.lines.back());
    }
    rig.install_line_ms = *outcome.install_ms;
    for (size_t i = 0; i < outcome.lines.size(); ++i) {
      if (FaseOf(outcome.lines[i]) == "verificando") rig.transfer_ms = outcome.line_ms[i];
    }
    rig.end_ms = outcome.end_ms;
    fs::remove_all(game);
    return {};
  }

  // Runs `orvsync atualizar` on `game` and, unless `aim` is kNone, kills it `delay` after its start
  // (kTransfer) or after it reported "Instalando…" (kInstall). An exit before that is no kill. The
  // reader thread only collects lines; the kill comes from this thread, at its moment.
  static Outcome Sync(const fs::path& game, const Channel& channel, Aim aim, std::chrono::microseconds delay) {
    Outcome outcome;
    ChildProcess child;
    const auto start = Clock::now();
    if (!child.Start(rig_->orvsync, {"atualizar", channel.manifest_url, PathToUtf8(game), "--json"},
                     {"XDG_DATA_HOME=" + PathToUtf8(rig_->work / "dados")})) {
      ADD_FAILURE() << "could not start " << PathToUtf8(rig_->orvsync);
      return outcome;
    }
    std::mutex mutex;
    std::condition_variable changed;
    bool ended = false;
    std::optional<Clock::time_point> installing;
    std::thread reader([&] {
      std::string pending;
      char buffer[4096];
      while (const size_t got = child.Read(buffer, sizeof(buffer))) {
        pending.append(buffer, got);
        for (size_t end; (end = pending.find('\n')) != std::string::npos; pending.erase(0, end + 1)) {
          std::string line = pending.substr(0, end);
          if (!line.empty() && line.back() == '\r') line.pop_back();
          const std::lock_guard lock(mutex);
          if (!installing && line.find("Instalando…") != std::string::npos) installing = Clock::now();
          outcome.lines.push_back(std::move(line));
          outcome.line_ms.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
          changed.notify_all();
        }
      }
      const std::lock_guard lock(mutex);
      ended = true;
      changed.notify_all();
    });
    {
      std::unique_lock lock(mutex);
      if (aim == Aim::kInstall) changed.wait(lock, [&] { return ended || installing.has_value(); });
      if (aim != Aim::kNone && !ended) {
        const auto at = (aim == Aim::kInstall ? *installing : start) + delay;
        if (!changed.wait_until(lock, at, [&] { return ended; })) child.Kill();
      }
    }
    reader.join();
    outcome.end_ms = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
    if (installing) outcome.install_ms = std::chrono::duration<double, std::milli>(*installing - start).count();
    outcome.exit_code = child.Wait();
    outcome.killed = outcome.exit_code == -1;
    return outcome;
  }

  static std::map<std::string, Held> Snapshot(const fs::path& game) {
    std::map<std::string, Held> held;
    for (const ManifestEntry& entry : rig_->channel_v2.manifest.arquivos) {
      held[entry.caminho] = HeldOf(entry, game, rig_->v2.at(entry.caminho));
    }
    return held;
  }

  // Requests since `mark` against what the client held before they were made: a finished file is
  // never asked for again, a complete download only as far as the "nothing left" answer (416) and,
  // for a block file, its table (every block-delta transfer starts by reading it).
  static void ExpectNothingFetchedTwice(const std::map<std::string, Held>& before, size_t mark,
                                        const std::string& when) {
    const std::vector<AccessEntry> entries = AllRequests(rig_->nginx);
    for (size_t i = mark; i < entries.size(); ++i) {
      const std::string name = FileOfUri(rig_->channel_v2, entries[i].uri);
      if (name.empty()) continue;
      const Held held = before.at(name);
      EXPECT_FALSE(held == Held::kDone) << name << " finished, yet requested again " << when;
      // The header and table of the two packs: 28 bytes, then 16 per block (32 and 24 blocks).
      const std::string table = name == "Conteudo/Paks/mundo.pak"   ? "bytes=0-539"
                                : name == "Conteudo/Paks/vozes.pak" ? "bytes=0-411"
                                                                    : "";
      const bool allowed = entries[i].status == 416 || (!table.empty() && entries[i].range == table);
      EXPECT_FALSE(held == Held::kDownloaded && !allowed)
          << name << " downloaded whole, yet fetched again (" << entries[i].status << ", " << entries[i].body_bytes
          << " bytes) " << when;
    }
  }

  // Files that are neither their version 1 nor their version 2 self: a torn install.
  static std::string TornFiles(const fs::path& game) {
    std::string torn;
    for (const auto& [name, bytes] : rig_->v2) {
      const std::string installed = Content(JoinRelative(game, name));
      const auto old = rig_->v1.find(name);
      const bool whole =
          installed == bytes || (old != rig_->v1.end() ? installed == old->second : installed == kMissing);
      if (!whole) torn += " " + name;
    }
    return torn;
  }

  static size_t LogMark() { return AllRequests(rig_->nginx).size(); }

  static std::unique_ptr<Rig> rig_;
};

std::unique_ptr<CrashSafety::Rig> CrashSafety::rig_;

int TrialCount() {
  const char* text = std::getenv("ORV_CRASH_TRIALS");
  return text != nullptr && std::atoi(text) > 0 ? std::atoi(text) : 20;
}

std::uint64_t Seed() {
  const char* text = std::getenv("ORV_CRASH_SEED");
  return text != nullptr ? std::strtoull(text, nullptr, 10) : std::random_device{}();
}

TEST_F(CrashSafety, KilledAnywhereTheNextRunsFinishTheUpdateWithoutFetchingTwice) {
  const std::uint64_t seed = Seed();
  const int trials = TrialCount();
  std::printf("crash trials: %d, seed %llu (ORV_CRASH_SEED=%llu repeats the kill moments)\n", trials,
              static_cast<unsigned long long>(seed), static_cast<unsigned long long>(seed));
  std::printf("uninterrupted update: transfer from %.0f ms, \"Instalando…\" at %.0f ms, end at %.0f ms\n",
              rig_->transfer_ms, rig_->install_line_ms, rig_->end_ms);
  std::mt19937_64 rng(seed);
  // Kills aimed at the transfer fall between the last verification report and "Instalando…" of an
  // uninterrupted run (startup jitter spreads them a little); kills aimed at the install fall
  // between "Instalando…" and the end.
  const auto transfer_from_us = static_cast<std::uint64_t>(rig_->transfer_ms * 1000);
  const auto transfer_us =
      std::max<std::uint64_t>(static_cast<std::uint64_t>((rig_->install_line_ms - rig_->transfer_ms) * 1000), 1);
  const auto install_us =
      std::max<std::uint64_t>(static_cast<std::uint64_t>((rig_->end_ms - rig_->install_line_ms) * 1000), 1);
  int torn_journals = 0;
  int kills = 0;

  for (int trial = 0; trial < trials && !HasFailure(); ++trial) {
    const fs::path game = rig_->work / ("jogo-" + std::to_string(trial));
    fs::copy(rig_->installed_v1, game, fs::copy_options::recursive);
    std::map<std::string, Held> held = Snapshot(game);
    const int kill_count = 1 + static_cast<int>(rng() % 3);
    // Aimed kills first, then runs left alone until one ends by itself.
    for (int run = 0;; ++run) {
      ASSERT_LT(run, kill_count + 4) << "trial " << trial << " does not come to an end";
      Aim aim = Aim::kNone;
      std::chrono::microseconds delay{};
      if (run < kill_count) {
        aim = rng() % 2 == 0 ? Aim::kTransfer : Aim::kInstall;
        delay = std::chrono::microseconds(aim == Aim::kTransfer ? transfer_from_us + rng() % transfer_us
                                                                : rng() % install_us);
      }
      const std::string when = "(trial " + std::to_string(trial) + ", run " + std::to_string(run + 1) + ")";
      const size_t mark = LogMark();
      const Outcome outcome = Sync(game, rig_->channel_v2, aim, delay);
      ExpectNothingFetchedTwice(held, mark, when);
      const std::string last = outcome.lines.empty() ? std::string() : outcome.lines.back();
      if (last.find("Atualização interrompida: diario corrompido") != std::string::npos) {
        // A kill between the journal's creation and its write leaves it empty. By design nothing
        // guesses at such a journal: updates stop until it is removed by hand, as done here. The
        // staged files are intact, so the next run still fetches nothing twice.
        std::string text;
        EXPECT_TRUE(ReadWholeFile(JournalPath(game), text));
        JsonValue ignored;
        EXPECT_FALSE(ParseJson(text, ignored)) << when;
        std::printf("torn journal of %zu bytes %s: removed by hand\n", text.size(), when.c_str());
        ++torn_journals;
        ASSERT_TRUE(DeleteFileAt(JournalPath(game)));
        continue;
      }
      if (!outcome.killed) {
        // It ended by itself (maybe before its kill came): that has to be a complete update.
        ASSERT_EQ(outcome.exit_code, 0) << when << " " << last;
        EXPECT_EQ(FaseOf(last), "pronto") << when;
        break;
      }
      ++kills;
      // nginx logs a request when it has sent the last byte; let the ones the kill cut short land.
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
      const std::string torn = TornFiles(game);
      ASSERT_TRUE(torn.empty()) << "half-installed after a kill " << when << ":" << torn;
      held = Snapshot(game);
    }
    // Leftovers in the staging folder would show here too. Empty folders may stay: a kill during the
    // last cleanup leaves them to the next install's.
    ASSERT_EQ(FolderDifferences(ReadFolder(game), rig_->v2), "") << "trial " << trial << " ends unlike version 2";
    fs::remove_all(game);
  }
  std::printf("%d kills, %d journals torn by a kill (removed by hand)\n", kills, torn_journals);
  RecordProperty("seed", std::to_string(seed));
  RecordProperty("kills", kills);
  RecordProperty("torn_journals", torn_journals);
}

TEST_F(CrashSafety, AFileHeldOpenFailsTheInstallAndTheNextRunFinishesIt) {
  if (!HeldFile::SharingIsEnforced()) {
    GTEST_SKIP() << "POSIX has no sharing modes: a file held open never stops the install here";
  }
  const fs::path game = rig_->work / "jogo-aberto";
  fs::copy(rig_->installed_v1, game, fs::copy_options::recursive);
  const std::string held_name = "Conteudo/Paks/mundo.pak";
  {
    // The game is running: its pack is open for reading, shared for reading only.
    HeldFile held;
    ASSERT_TRUE(held.Hold(JoinRelative(game, held_name)));
    const Outcome outcome = Sync(game, rig_->channel_v2, Aim::kNone, {});
    EXPECT_EQ(outcome.exit_code, 2);
    ASSERT_FALSE(outcome.lines.empty());
    JsonValue last;
    ASSERT_TRUE(ParseJson(outcome.lines.back(), last)) << outcome.lines.back();
    EXPECT_EQ(last.Find("fase").AsString(""), "erro");
    EXPECT_EQ(last.Find("texto").AsString(""),
              "Não foi possível instalar: nao trocou " + held_name + " (o jogo esta aberto?)");
    // Moves before the held file stay done; the held one and everything after wait in the journal.
    EXPECT_EQ(Content(JoinRelative(game, "Binarios/Win64/ORV2.exe")), rig_->v2.at("Binarios/Win64/ORV2.exe"));
    EXPECT_EQ(Content(JoinRelative(game, held_name)), rig_->v1.at(held_name));
    EXPECT_TRUE(PathExists(JournalPath(game)));
    EXPECT_EQ(TornFiles(game), "");
  }
  // The game has closed: the next run finishes the install from the journal and downloads nothing.
  const size_t mark = LogMark();
  const Outcome outcome = Sync(game, rig_->channel_v2, Aim::kNone, {});
  EXPECT_EQ(outcome.exit_code, 0) << (outcome.lines.empty() ? "" : outcome.lines.back());
  EXPECT_EQ(FolderDifferences(ReadFolder(game), rig_->v2), "");
  std::map<std::string, Held> all_done;
  for (const auto& [name, bytes] : rig_->v2) all_done[name] = Held::kDone;
  ExpectNothingFetchedTwice(all_done, mark, "after the game closed");
}

}  // namespace

}  // namespace orv
