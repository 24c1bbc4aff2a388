#include "update/sha256.h"

#include <memory>
#include <new>

#include "core/file.h"
#include "update/sha256_digest.h"

namespace orv {

namespace {

constexpr std::size_t kFileChunk = 4u << 20;   // whole-file reads
constexpr std::size_t kBlockDigestBytes = 16;  // block digests keep the first half of the SHA-256

std::string HexLower(const std::uint8_t* bytes, std::size_t count) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text(count * 2, '\0');
  for (std::size_t i = 0; i < count; ++i) {
    text[2 * i] = kDigits[bytes[i] >> 4];
    text[2 * i + 1] = kDigits[bytes[i] & 0x0F];
  }
  return text;
}

// Fills `buffer` with repeated reads until it is full, a read fails or the file ends; the bytes
// read before a failure still count, as a block cut short by a read error is simply shorter.
std::size_t FillBlock(File& file, std::uint8_t* buffer, std::size_t size) {
  std::size_t done = 0;
  while (done < size) {
    const std::int64_t got = file.Read(buffer + done, size - done);
    if (got <= 0) break;
    done += static_cast<std::size_t>(got);
  }
  return done;
}

}  // namespace

std::string Sha256OfFile(const std::filesystem::path& path, const ProgressCallback& progress,
                         const CancelFlag* cancel) {
  File file(path, File::Access::kReadSequential);
  if (!file.IsOpen()) return {};
  Sha256Digest digest;
  if (!digest.ok()) return {};
  // Left uninitialised: zeroing 4 MiB per file cost more than hashing a small file.
  std::unique_ptr<std::uint8_t[]> buffer(new (std::nothrow) std::uint8_t[kFileChunk]);
  if (!buffer) return {};
  for (;;) {
    // A read error ends the input quietly: the digest of a partly read file just fails to match.
    const std::int64_t got = file.Read(buffer.get(), kFileChunk);
    if (got <= 0) break;
    if (IsSet(cancel)) return {};
    if (!digest.Update(buffer.get(), static_cast<std::size_t>(got))) return {};
    if (progress) progress(static_cast<std::uint64_t>(got));
  }
  Sha256Digest::Value value;
  if (!digest.Finish(value)) return {};
  return HexLower(value.data(), value.size());
}

std::string Sha256OfBuffer(const void* data, std::size_t size) {
  Sha256Digest digest;
  Sha256Digest::Value value;
  if (!digest.ok() || !digest.Update(data, size) || !digest.Finish(value)) return {};
  return HexLower(value.data(), kBlockDigestBytes);
}

std::string Sha256OfBlocks(const std::filesystem::path& path, std::uint32_t block_size, const CancelFlag* cancel) {
  File file(path, File::Access::kReadSequential);
  if (!file.IsOpen() || block_size == 0) return {};
  // The block size comes from a published file: a size the process cannot hold is a failure, not a crash.
  std::unique_ptr<std::uint8_t[]> buffer(new (std::nothrow) std::uint8_t[block_size]);
  if (!buffer) return {};
  std::string digests;
  for (;;) {
    if (IsSet(cancel)) return {};
    const std::size_t got = FillBlock(file, buffer.get(), block_size);
    if (got == 0) break;
    const std::string one = Sha256OfBuffer(buffer.get(), got);
    if (one.empty()) return {};
    digests += one;
    if (got < block_size) break;
  }
  return digests;
}

}  // namespace orv
