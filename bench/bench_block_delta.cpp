// One block-delta update of a published file: reads the channel's manifest, takes its block-packed
// entry and rebuilds it from an old copy with BlockDeltaDownload, as an update run would. The bytes
// that crossed the wire are counted by the script from the server's access log; this program reports
// what it saw itself (range bytes through the progress callable, less the final hash) and the log's summary line.
#include <chrono>
#include <cstdio>
#include <string>

#include "core/clock.h"
#include "core/file_util.h"
#include "core/paths.h"
#include "formats/block_delta.h"
#include "update/http_client.h"
#include "update/manifest.h"
#include "update/sha256.h"

using namespace orv;

int main(int argc, char** argv) {
  if (argc != 5) {
    std::fprintf(stderr, "usage: bench_block_delta MANIFEST_URL OLD_FILE NEW_FILE LOG_FOLDER\n");
    return 2;
  }
  // The launcher's log line goes to a folder of the benchmark's, not the user's data folder.
  FolderOverrides folders{PathFromUtf8(argv[4]), PathFromUtf8(argv[4]), {}};
  SetFolderOverridesForTesting(&folders);

  std::string text, reason;
  Manifest manifest;
  if (FetchToMemory(argv[1], text, reason) != 200 || !ParseManifest(text, argv[1], manifest)) {
    std::fprintf(stderr, "manifest: %s\n", reason.empty() ? "invalido" : reason.c_str());
    return 1;
  }
  const ManifestEntry* entry = nullptr;
  for (const ManifestEntry& e : manifest.arquivos) {
    if (e.HasBlockVariant()) entry = &e;
  }
  if (entry == nullptr) {
    std::fprintf(stderr, "no block-packed entry in the manifest\n");
    return 1;
  }

  std::uint64_t ranges = 0;
  const auto start = std::chrono::steady_clock::now();
  // The update run hashes the installed blocks while it verifies; the time counts here too.
  const std::string installed_blocks =
      Sha256OfBlocks(PathFromUtf8(argv[2]), static_cast<std::uint32_t>(entry->bloco), nullptr);
  const int result = BlockDeltaDownload(
      *entry, PathFromUtf8(argv[2]), installed_blocks, PathFromUtf8(argv[3]), manifest.base,
      [&ranges](std::uint64_t n) { ranges += n; }, nullptr, SystemClock(), reason);
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  if (result != 0) {
    std::fprintf(stderr, "BlockDeltaDownload: %s\n", reason.c_str());
    return 1;
  }
  ranges -= entry->tamanho;  // the progress callable also saw the final hash of the assembled file
  std::string log;
  (void)ReadWholeFile(GetDataFolder() / "launcher.log", log);
  std::printf("%s: %llu blocks of %llu bytes, %llu bytes reported, %.3f s\n  log: %s", entry->caminho.c_str(),
              static_cast<unsigned long long>(entry->BlockCount()), static_cast<unsigned long long>(entry->bloco),
              static_cast<unsigned long long>(ranges), seconds, log.c_str());
  return 0;
}
