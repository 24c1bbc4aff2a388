// Peak memory of whole-file decodes: packs a generated file of the given size (default 1 GiB) as ORVZ
// and ORVB with 1 MiB chunks, then decodes each in a fresh process and prints its peak resident
// size, which must stay near one chunk's buffers, not the file's size.
//   bench_stream_memory [size_mib]           run everything in a temporary folder
//   bench_stream_memory decode orvz|orvb SRC DST
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "formats/orvb.h"
#include "formats/orvz.h"
#include "formats/pack_writer.h"
#include "tests/formats/test_data.h"

namespace {

long PeakKiB() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

int Decode(const std::string& kind, const char* source, const char* target) {
  std::string error;
  const bool ok = kind == "orvz" ? DecompressOrvzFile(source, target, std::nullopt, nullptr, error)
                                 : DecompressOrvbFile(source, target, std::nullopt, nullptr, error);
  if (!ok) {
    std::fprintf(stderr, "%s\n", error.c_str());
    return 1;
  }
  std::printf("%s decode peak RSS: %ld KiB\n", kind.c_str(), PeakKiB());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 5 && std::strcmp(argv[1], "decode") == 0) return Decode(argv[2], argv[3], argv[4]);
  const std::uint64_t mib = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 1024;
  const auto dir = std::filesystem::temp_directory_path() / ("orv-bench-memory-" + std::to_string(getpid()));
  std::filesystem::create_directories(dir);
  {
    // Text mixed with records, written 4 MiB at a time.
    std::ofstream out(dir / "dados.bin", std::ios::binary);
    const auto text = TextBytes(2u << 20, 1);
    const auto records = BinaryBytes(2u << 20, 2);
    for (std::uint64_t i = 0; i < mib / 4; ++i) {
      out.write(reinterpret_cast<const char*>(text.data()), static_cast<std::streamsize>(text.size()));
      out.write(reinterpret_cast<const char*>(records.data()), static_cast<std::streamsize>(records.size()));
    }
  }
  std::string error;
  const PackParameters parameters{4, 1u << 20, 1};
  if (!WriteOrvzFile(dir / "dados.bin", dir / "dados.orvz", parameters, nullptr, error) ||
      !WriteOrvbFile(dir / "dados.bin", dir / "dados.orvb", parameters, nullptr, error)) {
    std::fprintf(stderr, "%s\n", error.c_str());
    return 1;
  }
  std::printf("packing %llu MiB peak RSS: %ld KiB\n", static_cast<unsigned long long>(mib), PeakKiB());
  int status = 0;
  for (const char* kind : {"orvz", "orvb"}) {
    const std::string source = (dir / (std::string("dados.") + kind)).string();
    const std::string target = (dir / "saida.bin").string();
    const pid_t child = fork();
    if (child == 0) {
      execl(argv[0], argv[0], "decode", kind, source.c_str(), target.c_str(), static_cast<char*>(nullptr));
      _exit(127);
    }
    int child_status = 0;
    waitpid(child, &child_status, 0);
    if (child_status != 0) status = 1;
    if (std::filesystem::file_size(target) != mib << 20) status = 1;
  }
  std::filesystem::remove_all(dir);
  return status;
}
