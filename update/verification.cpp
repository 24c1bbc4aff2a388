#include "update/verification.h"

#include <string>
#include <unordered_set>

#include "core/file_util.h"
#include "core/paths.h"
#include "update/hash_cache.h"
#include "update/sha256.h"
#include "update/swap_journal.h"

namespace orv {

namespace {

std::string Counter(std::string_view text, size_t i, size_t n) {
  return std::string(text) + std::to_string(i + 1) + "/" + std::to_string(n);
}

// Is the installed file current? Size first, then the cache, and only then the file's bytes.
bool InstalledFileIsCurrent(RunContext& run, HashCache& cache, const ManifestEntry& entry, size_t i,
                            std::uint64_t bytes_seen) {
  const std::filesystem::path local = JoinRelative(run.game, entry.caminho);
  std::int64_t size = -1;
  std::uint64_t time = 0;
  if (!FileSizeAndTime(local, size, time) || static_cast<std::uint64_t>(size) != entry.tamanho) return false;
  if (const std::string* cached = cache.Lookup(entry.caminho, entry.tamanho, time)) return *cached == entry.sha256;

  const auto n = static_cast<std::int32_t>(run.manifest.arquivos.size());
  run.reporter.Estado(RunPhase::kChecking, Counter("Verificando arquivos ", i, static_cast<size_t>(n)),
                      static_cast<std::int32_t>(i + 1), n, bytes_seen, run.manifest.total_bytes);
  const std::string digest = Sha256OfFile(local, {}, run.cancel());
  if (digest.empty()) return false;
  cache.Store(entry.caminho, HashCacheEntry{entry.tamanho, time, digest});
  return digest == entry.sha256;
}

// A finished copy from an earlier run waiting in the staging folder.
bool StagedCopyIsReady(RunContext& run, const ManifestEntry& entry, size_t i, std::uint64_t bytes_seen) {
  const std::filesystem::path staged = JoinRelative(StagingFolder(run.game), entry.caminho);
  const std::int64_t size = FileSizeOf(staged);
  if (size < 0 || static_cast<std::uint64_t>(size) != entry.tamanho) return false;
  const auto n = run.FileCount();
  run.reporter.Estado(RunPhase::kChecking, Counter("Retomando arquivos já baixados ", i, static_cast<size_t>(n)),
                      static_cast<std::int32_t>(i + 1), n, bytes_seen, run.manifest.total_bytes);
  return Sha256OfFile(staged, {}, run.cancel()) == entry.sha256;
}

// The transfer estimate of an entry to fetch; a block entry keeps the installed block digests it was
// compared with, for the transfer to reuse.
FetchItem ToFetch(RunContext& run, const ManifestEntry& entry, size_t i, std::uint64_t bytes_seen) {
  if (entry.HasBlockVariant()) {
    const std::filesystem::path local = JoinRelative(run.game, entry.caminho);
    if (FileSizeOf(local) <= 0) return FetchItem{&entry, entry.bTamanho, {}};
    const auto n = run.FileCount();
    run.reporter.Estado(RunPhase::kChecking, Counter("Comparando blocos ", i, static_cast<size_t>(n)),
                        static_cast<std::int32_t>(i + 1), n, bytes_seen, run.manifest.total_bytes);
    std::string digests = Sha256OfBlocks(local, static_cast<std::uint32_t>(entry.bloco), run.cancel());
    const std::uint64_t estimate = BlockTransferEstimate(entry, digests);
    return FetchItem{&entry, estimate, std::move(digests)};
  }
  return FetchItem{&entry, entry.zTamanho != 0 ? entry.zTamanho : entry.tamanho, {}};
}

}  // namespace

std::uint64_t BlockTransferEstimate(const ManifestEntry& entry, const std::string& installed_digests) {
  // Any installed position counts: data that moved inside the file is found again.
  std::unordered_set<std::string_view> present;
  for (size_t at = 0; at + 32 <= installed_digests.size(); at += 32) {
    present.insert(std::string_view(installed_digests).substr(at, 32));
  }
  const std::uint64_t count = entry.BlockCount();
  std::uint64_t missing = 0;
  for (std::uint64_t k = 0; k < count; ++k) {
    if (!present.contains(std::string_view(entry.blocos).substr(k * 32, 32))) ++missing;
  }
  // bTamanho x missing first, then the division: dividing first loses a byte to rounding now and then.
  const double estimate_bytes =
      static_cast<double>(entry.bTamanho) * static_cast<double>(missing) / static_cast<double>(count > 0 ? count : 1);
  const auto estimate = static_cast<std::uint64_t>(estimate_bytes);
  return estimate < 1 ? 1 : estimate;
}

bool VerifyInstallation(RunContext& run, UpdatePlan& plan) {
  HashCache cache = HashCache::Load(run.game);
  std::uint64_t bytes_seen = 0;
  const auto& entries = run.manifest.arquivos;
  for (size_t i = 0; i < entries.size(); ++i) {
    if (run.Cancelled()) {
      run.reporter.Estado(RunPhase::kPaused, "Cancelado.", 0, 0, 0, 0);
      return false;
    }
    const ManifestEntry& entry = entries[i];
    const bool current = InstalledFileIsCurrent(run, cache, entry, i, bytes_seen);
    bytes_seen += entry.tamanho;
    if (current) continue;
    if (StagedCopyIsReady(run, entry, i, bytes_seen)) {
      plan.staged.push_back(&entry);
      plan.staged_bytes += entry.tamanho;
      continue;
    }
    plan.to_fetch.push_back(ToFetch(run, entry, i, bytes_seen));
  }
  // A hash interrupted on the last file must not pass for a file that is out of date.
  if (run.Cancelled()) {
    run.reporter.Estado(RunPhase::kPaused, "Cancelado.", 0, 0, 0, 0);
    return false;
  }
  cache.Save(run.game);
  for (const FetchItem& item : plan.to_fetch) plan.planned_bytes += item.expected_bytes;
  plan.launcher_pending = LauncherUpdateDue(run.manifest.launcher);
  return true;
}

}  // namespace orv
