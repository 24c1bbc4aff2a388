#include "update/transfer.h"

#include <algorithm>
#include <string>
#include <vector>

#include "core/file.h"
#include "core/file_util.h"
#include "core/log.h"
#include "core/paths.h"
#include "formats/block_delta.h"
#include "formats/orvz.h"
#include "update/hash_cache.h"
#include "update/http_client.h"
#include "update/retry.h"
#include "update/sha256.h"
#include "update/swap_journal.h"
#include "update/work_files.h"

namespace orv {

namespace {

constexpr char kPauseText[] = "Pausado. Continue depois de onde parou.";

// One entry's transfer, with the final message when it fails.
class EntryTransfer {
 public:
  EntryTransfer(RunContext& run, TransferProgress& progress, const FetchItem& item, std::int32_t index)
      : run_(run),
        progress_(progress),
        entry_(*item.entry),
        installed_blocks_(item.installed_blocks),
        index_(index),
        staged_(JoinRelative(StagingFolder(run.game), item.entry->caminho)) {}

  // True when the new file lies at its staged path.
  bool Run() {
    if (entry_.HasBlockVariant()) return RunBlocks();
    const bool compressed = entry_.zTamanho > 0;
    const std::filesystem::path partial = WithSuffix(staged_, compressed ? kOrvzPartialSuffix : kPartialSuffix);
    const std::int64_t existing = FileSizeOf(partial);
    if (existing > 0) progress_.AddResumed(static_cast<std::uint64_t>(existing));
    if (!Download(EntryUrl(run_.manifest.base, entry_.caminho, compressed ? ".orvz" : ""), partial,
                  compressed ? entry_.zTamanho : entry_.tamanho)) {
      return false;
    }

    std::filesystem::path result = partial;
    if (compressed) {
      result = WithSuffix(staged_, kUnpackedSuffix);
      if (!Unpack(partial, result)) return false;
    }
    if (!HashMatches(result, partial)) return false;
    // The result is complete and correct from here on: a crash leaves it to be found by the next run.
    if (!MoveFileReplacing(result, staged_, /*write_through=*/false)) {
      return Fail("Falha ao baixar " + entry_.caminho + " (nao moveu para .atualizando). Tente de novo.");
    }
    if (compressed) DeleteFileAt(partial);
    return true;
  }

 private:
  bool RunBlocks() {
    std::string reason;
    const std::filesystem::path installed = JoinRelative(run_.game, entry_.caminho);
    if (BlockDeltaDownload(entry_, installed, installed_blocks_, staged_, run_.manifest.base, progress_.Callback(),
                           run_.cancel(), run_.clock(), reason) >= 0) {
      return true;
    }
    if (run_.Cancelled()) return Fail("");
    Log("por bloco %s falhou: %s", entry_.caminho.c_str(), reason.c_str());
    return Fail("Falha ao atualizar " + entry_.caminho + " (" + reason + "). Tente de novo.");
  }

  bool Download(const std::string& url, const std::filesystem::path& partial, std::uint64_t size) {
    std::string reason;
    const auto attempt = [&](std::string& why) {
      return DownloadToFile(url, partial, progress_.Callback(), run_.cancel(), why, size);
    };
    if (RetryTransfer(attempt, "download " + entry_.caminho, run_.cancel(), run_.clock(), reason)) return true;
    // Fail shows the pause text instead when the loop ended on the flag.
    return Fail("Falha ao baixar " + entry_.caminho + " (" + reason + "). Tente de novo.");
  }

  bool Unpack(const std::filesystem::path& partial, const std::filesystem::path& unpacked) {
    const std::int32_t n = progress_.entry_count();
    run_.reporter.Estado(RunPhase::kDownloading,
                         "Descompactando " + std::to_string(index_ + 1) + "/" + std::to_string(n), index_ + 1, n,
                         progress_.done(), progress_.planned());
    std::string reason;
    if (DecompressOrvzFile(partial, unpacked, entry_.tamanho, run_.cancel(), reason)) return true;
    Log("descompactar %s falhou (%s)", entry_.caminho.c_str(), reason.c_str());
    DeleteFileAt(unpacked);
    if (!run_.Cancelled()) DeleteFileAt(partial);
    return Fail(CorruptText());
  }

  bool HashMatches(const std::filesystem::path& result, const std::filesystem::path& partial) {
    const std::string digest = Sha256OfFile(result, {}, run_.cancel());
    if (digest == entry_.sha256) return true;
    // An interrupted hash proves nothing: keep the finished download for the next run.
    if (digest.empty() && run_.Cancelled()) return Fail("");
    Log("hash errado em %s (%s), apagando", entry_.caminho.c_str(), digest.c_str());
    DeleteFileAt(result);
    if (result != partial) DeleteFileAt(partial);
    return Fail(CorruptText());
  }

  [[nodiscard]] std::string CorruptText() const {
    return "Arquivo corrompido no download (" + entry_.caminho + "). Tente de novo.";
  }

  // Sends the final message: the pause text whenever the flag is set, `text` otherwise.
  bool Fail(const std::string& text) {
    const bool paused = run_.Cancelled();
    run_.reporter.Estado(paused ? RunPhase::kPaused : RunPhase::kError, paused ? kPauseText : text, index_,
                         progress_.entry_count(), progress_.done(), progress_.planned());
    return false;
  }

  RunContext& run_;
  TransferProgress& progress_;
  const ManifestEntry& entry_;
  const std::string& installed_blocks_;
  std::int32_t index_;
  std::filesystem::path staged_;
};

// Why `relative` cannot be moved into place, or empty when it can: an installed path that is a
// folder, or a file where one of its parent folders should be, would make the replay stop half-way
// and leave a journal that blocks every later run.
std::string ReplaceBlocker(const std::filesystem::path& game, const std::string& relative) {
  const std::filesystem::path installed = JoinRelative(game, relative);
  if (PathExists(installed) && FileSizeOf(installed) < 0) return relative + " e uma pasta";
  for (std::size_t cut = relative.find_first_of("/\\"); cut != std::string::npos;
       cut = relative.find_first_of("/\\", cut + 1)) {
    const std::string parent = relative.substr(0, cut);
    if (FileSizeOf(JoinRelative(game, parent)) >= 0) return parent + " e um arquivo";
  }
  return {};
}

// A rename only reorders names; the bytes of a staged file must be on disk before the journal says
// it replaces the installed one, or a power cut could leave a hole that the hash cache trusts. The
// file is opened existing-only: one that vanished since it was verified must not come back empty.
bool FlushToDisk(const std::filesystem::path& path) {
  File file(path, File::Access::kWriteExisting);
  if (!file.IsOpen()) return false;
  (void)file.Flush();
  return true;
}

// Everything that could stop the replay half-way is checked before the journal exists.
std::string InstallBlocker(const RunContext& run, const std::vector<std::string>& install_list) {
  for (const std::string& relative : install_list) {
    std::string blocker = ReplaceBlocker(run.game, relative);
    if (!blocker.empty()) return blocker;
    if (!FlushToDisk(JoinRelative(StagingFolder(run.game), relative))) return relative + " sumiu de .atualizando";
  }
  return {};
}

bool Install(RunContext& run, const std::vector<std::string>& install_list, std::int32_t n, std::uint64_t planned) {
  run.reporter.Estado(RunPhase::kInstalling, "Instalando…", n, n, planned, planned);
  std::string reason = InstallBlocker(run, install_list);
  if (!reason.empty()) {
    Log("instalacao recusada: %s", reason.c_str());
    run.reporter.Estado(RunPhase::kError, "Não foi possível instalar: " + reason, 0, 0, 0, 0);
    return false;
  }
  SwapJournal::Write(run.game, install_list);
  if (!SwapJournal::Replay(run.game, reason)) {
    run.reporter.Estado(RunPhase::kError, "Não foi possível instalar: " + reason, 0, 0, 0, 0);
    return false;
  }
  // The installed files are exactly the verified ones: record them without reading them again.
  HashCache cache = HashCache::Load(run.game);
  for (const ManifestEntry& entry : run.manifest.arquivos) {
    if (std::find(install_list.begin(), install_list.end(), entry.caminho) == install_list.end()) continue;
    const std::uint64_t time = FileWriteTime(JoinRelative(run.game, entry.caminho));
    cache.Store(entry.caminho, HashCacheEntry{entry.tamanho, time, entry.sha256});
  }
  cache.Save(run.game);
  return true;
}

// A crash between placing a verified result and deleting what it was made from (a .orvz or a whole
// .orvb) leaves that work file behind. Once the staged copy has been verified it is only clutter, and
// a later download of the same path would resume from it as if it were a partial of the new file.
void DropWorkFiles(const std::filesystem::path& staged) {
  for (const std::string_view suffix : kWorkFileSuffixes) DeleteFileAt(WithSuffix(staged, suffix));
}

}  // namespace

TransferOutcome TransferAndInstall(RunContext& run, const UpdatePlan& plan) {
  std::vector<std::string> install_list;
  for (const ManifestEntry* entry : plan.staged) {
    DropWorkFiles(JoinRelative(StagingFolder(run.game), entry->caminho));
    install_list.push_back(entry->caminho);
  }

  const auto n = static_cast<std::int32_t>(plan.to_fetch.size());
  TransferProgress progress(run.reporter, run.clock(), n, plan.planned_bytes);
  for (std::int32_t i = 0; i < n; ++i) {
    const FetchItem& item = plan.to_fetch[static_cast<size_t>(i)];
    const ManifestEntry& entry = *item.entry;
    progress.SetEntry(i);
    EntryTransfer transfer(run, progress, item, i);
    if (!transfer.Run()) return TransferOutcome::kEnded;
    install_list.push_back(entry.caminho);
  }
  if (install_list.empty()) return TransferOutcome::kInstalled;
  if (run.Cancelled()) {
    run.reporter.Estado(RunPhase::kPaused, kPauseText, n, n, progress.done(), progress.planned());
    return TransferOutcome::kEnded;
  }
  return Install(run, install_list, n, plan.planned_bytes) ? TransferOutcome::kInstalled : TransferOutcome::kEnded;
}

}  // namespace orv
