// Feeds arbitrary bytes to the ORVZ file reader as an update run hands it a downloaded .orvz: the
// input is written to a file in /dev/shm (memory, not disk) and decoded with an expected size, as
// the manifest's "tamanho" gives one. What must hold: no crash, a clear message on failure, and on
// success a target of exactly the expected size.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "formats/codec/byte_order.h"
#include "formats/orvz.h"

using namespace orv;

namespace {

// Large outputs decode by the same code as small ones; they only slow the run down.
constexpr std::uint64_t kMaxExpected = 4u << 20;

const std::filesystem::path& Folder() {
  static const std::filesystem::path folder = [] {
    std::filesystem::path path = "/dev/shm/orv-fuzz-orvz-" + std::to_string(getpid());
    std::filesystem::create_directories(path);
    return path;
  }();
  return folder;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::filesystem::path source = Folder() / "entrada.orvz";
  const std::filesystem::path target = Folder() / "saida";
  {
    std::ofstream out(source, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  }
  // The header's own raw size when it is small; otherwise a size it cannot match, which must be
  // refused before anything is decoded.
  const std::uint64_t claimed = size >= kOrvzHeaderSize ? LoadLe64(data + 16) : 0;
  const std::uint64_t expected = claimed <= kMaxExpected ? claimed : kMaxExpected;
  std::string error;
  const bool ok = DecompressOrvzFile(source, target, expected, nullptr, error);
  if (!ok && error.empty()) std::abort();
  if (ok && (!error.empty() || std::filesystem::file_size(target) != expected)) std::abort();
  if (!ok && claimed != expected && std::filesystem::exists(target)) std::abort();  // refused before creating
  std::error_code ignored;
  std::filesystem::remove(target, ignored);
  return 0;
}
