// Whole update and verification runs end to end: a channel published with the project's own writers into
// a folder that nginx and the fault server both serve (CTest fixtures http_nginx and http_fault), a
// game folder, and what a run leaves behind: the "estado" messages, the log, the servers' requests
// and the folder's bytes. Time is a FakeClock that moves 300 ms at every reading, so each progress
// call of a transfer is reported, and back-offs are recorded, never waited for.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "core/json.h"
#include "support/fake_clock.h"
#include "support/game_folder_view.h"
#include "support/scoped_folders.h"
#include "support/test_channel.h"
#include "test_servers.h"
#include "update/http_client.h"
#include "update/manifest.h"
#include "update/progress.h"
#include "update/sha256.h"
#include "update/swap_journal.h"
#include "update/update_run.h"

namespace orv {

constexpr std::uint32_t kRunBlock = 16384;  // ORVZ chunks and ORVB blocks of the published variants

using Variant = TestChannel::Variant;
struct GameFile {
  std::string caminho;
  std::string bytes;
  Variant variant = Variant::kPlain;
};

class UpdateRunFixture : public ServedTest {
 protected:
  void SetUp() override {
    ServedTest::SetUp();
    clock_.step_ms = 300;
    state_.clock = &clock_;
    // A message whose page sink throws never reached the page: it is not recorded. The fields come
    // first and are kept once the page's sink took the text.
    state_.status_sink = [this](const RunStatus& status) { pending_ = status; };
    state_.progress_sink = [this](const std::string& text) {
      if (on_message_) on_message_(text);
      raw_.push_back(text);
      statuses_.push_back(pending_);
      times_ms_.push_back(clock_.now_ms());
    };
    std::filesystem::create_directories(game_);
  }

  // Publishes `files` as the publisher does: each under its path, its variant beside it, and
  // manifest.json, which `adjust` may change first.
  void Publish(const std::vector<GameFile>& files, const std::string& versao = "2.0",
               const std::function<void(Manifest&)>& adjust = {}) {
    versao_ = versao;
    TestChannel channel(served_.path());
    channel.manifest.versao = versao;
    channel.manifest.servidor = "9.9";
    for (const GameFile& file : files) {
      channel.Add(file.caminho, file.bytes, file.variant, kRunBlock);
      published_[file.caminho] = channel.manifest.arquivos.back();
    }
    if (adjust) adjust(channel.manifest);
    channel.Write();
  }
  void Install(const std::vector<GameFile>& files) const {
    for (const GameFile& f : files) WriteTestFile(JoinRelative(game_, f.caminho), f.bytes);
  }

  // One run of `manifest_url`, an update or (apply false) a verification; its messages land in raw_
  // and statuses_.
  void RunOnce(const std::string& manifest_url, bool apply) {
    raw_.clear();
    statuses_.clear();
    times_ms_.clear();
    progress_.clear();
    Channel channel;
    channel.manifesto = manifest_url;
    channel.pasta = game_;
    UpdateEngine::Run(state_, channel, apply);
    EXPECT_EQ(state_.run_active.load(), 0);
  }
  // One update; its messages as "fase|texto|atual/total|bytes/bytesTotal", the transfer's "Atualizando"
  // ones left out (their "bytes" go to progress_). Checks what every run must show: exactly one
  // final message, the last; versao_ on every message after the first ("-": none); transfer bytes
  // that never go back.
  std::vector<std::string> Run(const TestServer& server, const std::string& prefix = "") {
    RunOnce(server.base_url + prefix + served_.UrlPath("manifest.json"), /*apply=*/true);
    std::vector<std::string> lines;
    int finals = 0;
    for (std::size_t i = 0; i < statuses_.size(); ++i) {
      JsonValue m;
      EXPECT_TRUE(ParseJson(raw_[i], m)) << raw_[i];
      EXPECT_EQ(m.Find("versaoCliente").AsString("-"), i == 0 ? "-" : versao_) << raw_[i];
      const RunStatus& st = statuses_[i];
      if (IsFinalPhase(st.phase)) ++finals;
      if (st.texto.starts_with("Atualizando ")) {
        EXPECT_EQ(st.texto, "Atualizando " + S(st.atual) + "/" + S(st.total));
        EXPECT_GE(st.bytes, progress_.empty() ? 0 : progress_.back());
        progress_.push_back(st.bytes);
        continue;
      }
      lines.push_back(std::string(FaseName(st.phase)) + "|" + st.texto + "|" + S(st.atual) + "/" + S(st.total) + "|" +
                      S(st.bytes) + "/" + S(st.bytes_total));
    }
    EXPECT_EQ(finals, 1);
    EXPECT_TRUE(!statuses_.empty() && IsFinalPhase(statuses_.back().phase));
    return lines;
  }
  // One run's final message as "fase|texto".
  std::string Last(const TestServer& server, const std::string& prefix = "") {
    (void)Run(server, prefix);
    return statuses_.empty() ? "" : std::string(FaseName(statuses_.back().phase)) + "|" + statuses_.back().texto;
  }

  // The game folder holds `installed`, then an update to `published` runs against nginx without a
  // fault: the starting point of a scenario, with the hash cache filled and the log emptied.
  void UpdatedTo(const std::vector<GameFile>& installed, const std::vector<GameFile>& published,
                 const std::string& versao) {
    Install(installed);
    Publish(published, versao);
    ASSERT_EQ(Last(nginx_), "pronto|Jogo atualizado.");
    ASSERT_EQ(Differences(published), "");
    (void)TakeLog();
  }

  // Requests the server logged for a published name, waiting for at least `at_least`.
  std::size_t Requests(const TestServer& server, const std::string& name, std::size_t at_least = 0) {
    return RequestsFor(server, Target(name), at_least).size();
  }
  // The next `k` requests for `name` at the fault server carry `directives` ("status/500", ...).
  void Arm(int k, const std::string& directives, const std::string& name) { ArmFaults(k, directives, Target(name)); }
  // The request target a client sends for a published name (how it is escaped: Manifest's tests).
  [[nodiscard]] std::string Target(const std::string& name) const { return EntryUrl(served_.UrlPath(""), name); }
  static std::string TakeLog() { return TakeLauncherLog(); }
  static bool Logged(const std::string& log, const std::string& line) {
    return log.find("] " + line + "\r\n") != std::string::npos;
  }
  // The names whose installed bytes differ from `files` (see FolderDifferences); empty when equal.
  [[nodiscard]] std::string Differences(const std::vector<GameFile>& files) const {
    std::map<std::string, std::string> want;
    for (const GameFile& f : files) {
      std::string name = f.caminho;
      std::replace(name.begin(), name.end(), '\\', '/');
      want[name] = f.bytes;
    }
    return FolderDifferences(InstalledFiles(game_), want);
  }
  // The digest a manifest gives for `bytes`.
  [[nodiscard]] std::string DigestOf(const std::string& bytes) const {
    WriteTestFile(digest_file_, bytes);
    return Sha256OfFile(digest_file_, {}, nullptr);
  }
  [[nodiscard]] std::filesystem::path Staged(const std::string& caminho) const {
    return JoinRelative(StagingFolder(game_), caminho);
  }
  static std::string S(std::uint64_t n) { return std::to_string(n); }

  ScopedFolders folders_;
  FakeClock clock_;
  EngineState state_;
  const std::filesystem::path game_ = folders_.root() / "Jogo";
  const std::filesystem::path digest_file_ = folders_.root() / "fonte.bin";
  std::string versao_ = "-";
  std::map<std::string, ManifestEntry> published_;
  std::function<void(const std::string&)> on_message_;  // sees every message first; may throw
  RunStatus pending_;
  std::vector<std::string> raw_;
  std::vector<RunStatus> statuses_;
  std::vector<std::uint64_t> times_ms_;  // when each message came
  std::vector<std::uint64_t> progress_;
};

}  // namespace orv
