// Feeds arbitrary bytes to the manifest reader, as a download server could send them. What must
// hold for any input: no crash, and every accepted entry obeys the rules the rest of the run relies
// on (a safe relative path, a 64-character digest, a block variant only when it is consistent).
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "core/paths.h"
#include "update/manifest.h"

using namespace orv;

namespace {

// The log of skipped entries goes to a folder that cannot be created: lines are dropped.
const FolderOverrides kNoFolders{"/proc/orv-fuzz", "/proc/orv-fuzz", {}};

void CheckEntry(const ManifestEntry& entry) {
  if (entry.caminho.empty() || entry.caminho.find("..") != std::string::npos || entry.sha256.size() != 64) {
    std::abort();
  }
  if (entry.caminho.front() == '/' || entry.caminho.front() == '\\' || entry.caminho.find(':') != std::string::npos) {
    std::abort();
  }
  if (entry.HasBlockVariant()) {
    const std::uint64_t blocks = entry.tamanho / entry.bloco + (entry.tamanho % entry.bloco != 0 ? 1 : 0);
    if (entry.bTamanho == 0 || entry.BlockCount() != blocks) std::abort();
  } else if (!entry.blocos.empty() || entry.bTamanho != 0) {
    std::abort();
  }
  (void)EntryUrl("https://h/c/", entry.caminho, ".orvb");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  SetFolderOverridesForTesting(&kNoFolders);
  Manifest manifest;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  if (!ParseManifest(text, "https://download.example/canal/manifest.json", manifest)) return 0;
  if (manifest.base.empty() || manifest.base.back() != '/') std::abort();
  std::uint64_t total = 0;
  for (const ManifestEntry& entry : manifest.arquivos) {
    CheckEntry(entry);
    total += entry.tamanho;
  }
  if (total != manifest.total_bytes) std::abort();
  (void)LauncherUpdateDue(manifest.launcher);
  return 0;
}
