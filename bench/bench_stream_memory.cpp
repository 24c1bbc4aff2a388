// Peak memory of whole-file decodes: packs a generated file of the given size (default 1 GiB) as ORVZ
// and ORVB with 1 MiB chunks, then decodes each in a fresh process and prints its peak resident
// size, which must stay near one chunk's buffers, not the file's size.
// `hostil` decodes two 1 MiB files whose headers claim 256 MiB chunks and a length word the file
// cannot hold: the peak must stay near the file's size, not the claims'.
//   bench_stream_memory [size_mib]           run everything in a temporary folder
//   bench_stream_memory hostil               the two hostile files
//   bench_stream_memory decode orvz|orvb SRC DST [EXPECTED_SIZE]
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include "formats/orvb.h"
#include "formats/orvz.h"
#include "formats/pack_writer.h"
#include "tests/formats/file_builders.h"
#include "tests/formats/test_data.h"

using namespace orv;

namespace {

long PeakKiB() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

int Decode(const std::string& kind, const char* source, const char* target, std::optional<std::uint64_t> expected) {
  std::string error;
  const bool ok = kind == "orvz" ? DecompressOrvzFile(source, target, expected, nullptr, error)
                                 : DecompressOrvbFile(source, target, expected, nullptr, error);
  if (!ok) {
    std::printf("%s decode failed (%s), peak RSS: %ld KiB\n", kind.c_str(), error.c_str(), PeakKiB());
    return 1;
  }
  std::printf("%s decode peak RSS: %ld KiB\n", kind.c_str(), PeakKiB());
  return 0;
}

// Runs one decode in a fresh process, so its peak is its own. The child's exit status.
int DecodeInChild(const char* self, const char* kind, const std::string& source, const std::string& target,
                  const std::string& expected) {
  const pid_t child = fork();
  if (child == 0) {
    if (expected.empty()) {
      execl(self, self, "decode", kind, source.c_str(), target.c_str(), static_cast<char*>(nullptr));
    } else {
      execl(self, self, "decode", kind, source.c_str(), target.c_str(), expected.c_str(), static_cast<char*>(nullptr));
    }
    _exit(127);
  }
  int child_status = 0;
  waitpid(child, &child_status, 0);
  return child_status;
}

// 1 MiB files that claim what a manifest of a 256 MiB file would allow: an ORVZ whose first length
// word says 300 MB, an ORVB whose one block's stored length is the largest the block size permits.
int Hostile(const char* self) {
  const auto dir = std::filesystem::temp_directory_path() / ("orv-bench-hostil-" + std::to_string(getpid()));
  std::filesystem::create_directories(dir);
  const std::string filler(1u << 20, 'x');
  std::string orvz = OrvzHeader(4, kOrvzMaxChunkSize, kOrvzMaxChunkSize);
  PutLe32(orvz, 300000000);
  const std::string orvb = OrvbHead(4, kOrvbMaxBlockSize, kOrvbMaxBlockSize, 1,
                                    {{44, static_cast<std::uint32_t>(MaxPackedLength(kOrvbMaxBlockSize)), 0}});
  std::ofstream(dir / "hostil.orvz", std::ios::binary) << orvz << filler;
  std::ofstream(dir / "hostil.orvb", std::ios::binary) << orvb << filler;
  const std::string expected = std::to_string(kOrvzMaxChunkSize);
  for (const char* kind : {"orvz", "orvb"}) {
    (void)DecodeInChild(self, kind, (dir / (std::string("hostil.") + kind)).string(), (dir / "saida.bin").string(),
                        expected);
  }
  std::filesystem::remove_all(dir);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if ((argc == 5 || argc == 6) && std::strcmp(argv[1], "decode") == 0) {
    return Decode(argv[2], argv[3], argv[4],
                  argc == 6 ? std::optional<std::uint64_t>(std::strtoull(argv[5], nullptr, 10)) : std::nullopt);
  }
  if (argc == 2 && std::strcmp(argv[1], "hostil") == 0) return Hostile(argv[0]);
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
    if (DecodeInChild(argv[0], kind, source, target, "") != 0) status = 1;
    if (std::filesystem::file_size(target) != mib << 20) status = 1;
  }
  std::filesystem::remove_all(dir);
  return status;
}
