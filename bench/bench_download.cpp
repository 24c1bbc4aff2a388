// Downloads one URL into a file with DownloadToFile (the file should not exist beforehand, or the
// download resumes); the time taken goes to stderr.
#include <chrono>
#include <cstdio>

#include "core/file_util.h"
#include "update/http_client.h"

using namespace orv;

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: bench_download URL FILE\n");
    return 2;
  }
  const auto start = std::chrono::steady_clock::now();
  std::string reason;
  if (!DownloadToFile(argv[1], argv[2], {}, nullptr, reason)) {
    std::fprintf(stderr, "download failed: %s\n", reason.c_str());
    return 1;
  }
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  const double mib = static_cast<double>(FileSizeOf(argv[2])) / 1048576.0;
  std::fprintf(stderr, "%.0f MiB in %.3f s: %.0f MiB/s\n", mib, seconds, mib / seconds);
  return 0;
}
