// Hashes files with Sha256OfFile and prints "digest  path" lines like sha256sum, so the runner can
// check that it and its peers agree; the time taken goes to stderr.
#include <chrono>
#include <cstdio>

#include "core/file_util.h"
#include "update/sha256.h"

using namespace orv;

int main(int argc, char** argv) {
  const auto start = std::chrono::steady_clock::now();
  std::uint64_t bytes = 0;
  for (int i = 1; i < argc; ++i) {
    const std::string digest = Sha256OfFile(argv[i], {}, nullptr);
    if (digest.empty()) {
      std::fprintf(stderr, "%s: no digest\n", argv[i]);
      return 1;
    }
    bytes += static_cast<std::uint64_t>(FileSizeOf(argv[i]));
    std::printf("%s  %s\n", digest.c_str(), argv[i]);
  }
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  std::fprintf(stderr, "%.0f MiB in %.3f s: %.0f MiB/s\n", bytes / 1048576.0, seconds, bytes / 1048576.0 / seconds);
  return 0;
}
