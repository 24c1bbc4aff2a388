#include "formats/orvz.h"

#include <cstring>
#include <optional>

#include "core/file.h"
#include "formats/byte_buffer.h"
#include "formats/codec/byte_order.h"
#include "formats/codec/decompressor.h"

namespace orv {

namespace {

// Each header field has its own read of exactly its width.
bool ReadExactly(File& file, void* out, std::size_t size) {
  return file.ReadFull(out, size) == static_cast<std::int64_t>(size);
}

bool Fail(std::string& error, const char* message) {
  error = message;
  return false;
}

}  // namespace

bool DecompressOrvzFile(const std::filesystem::path& source_path, const std::filesystem::path& target_path,
                        std::optional<std::uint64_t> expected_size, const CancelFlag* cancel, std::string& error) {
  File source(source_path, File::Access::kReadSequential);
  if (!source.IsOpen()) return Fail(error, "nao abriu o arquivo comprimido");

  std::uint8_t magic[4], version[4], algorithm[4], chunk[4], raw[8];
  if (!ReadExactly(source, magic, 4) || !ReadExactly(source, version, 4) || !ReadExactly(source, algorithm, 4) ||
      !ReadExactly(source, chunk, 4) || !ReadExactly(source, raw, 8)) {
    return Fail(error, "arquivo comprimido invalido");
  }
  const std::uint32_t chunk_size = LoadLe32(chunk);
  const std::uint64_t raw_size = LoadLe64(raw);
  if (std::memcmp(magic, "ORVZ", 4) != 0 || LoadLe32(version) != kOrvzVersion || chunk_size == 0 ||
      chunk_size > kOrvzMaxChunkSize || (expected_size && raw_size != *expected_size)) {
    return Fail(error, "arquivo comprimido invalido");
  }
  const std::int64_t file_size = source.Size();
  std::uint64_t left_in_file = file_size > 0 ? static_cast<std::uint64_t>(file_size) - kOrvzHeaderSize : 0;

  Decompressor decompressor;
  if (!decompressor.Create(LoadLe32(algorithm))) return Fail(error, "algoritmo de compressao nao suportado");

  File target(target_path, File::Access::kCreate);
  if (!target.IsOpen()) return Fail(error, "nao criou o arquivo de saida");

  ByteBuffer output, input;
  const std::uint64_t max_packed = MaxPackedLength(chunk_size);
  std::uint64_t written = 0;
  while (written < raw_size) {
    if (IsSet(cancel)) return Fail(error, "cancelado");

    std::uint8_t length_bytes[4];
    if (!ReadExactly(source, length_bytes, 4)) return Fail(error, "bloco invalido");
    const std::uint32_t packed = LoadLe32(length_bytes);
    if (packed == 0 || packed > max_packed) return Fail(error, "bloco invalido");
    // Reserve only what the file really holds, not what a length word claims.
    if (left_in_file < 4 || packed > left_in_file - 4) return Fail(error, "arquivo comprimido truncado");
    left_in_file -= 4 + std::uint64_t{packed};

    if (!input.Reserve(packed)) return Fail(error, "memoria insuficiente");
    if (!ReadExactly(source, input.data(), packed)) return Fail(error, "arquivo comprimido truncado");

    const std::uint64_t left = raw_size - written;
    const auto expected = static_cast<std::size_t>(left < chunk_size ? left : chunk_size);
    // The first chunk is the largest: the buffer grows once, after a chunk has really arrived.
    if (!output.Reserve(expected)) return Fail(error, "memoria insuficiente");
    std::size_t decoded = 0;
    if (!decompressor.Decompress(input.data(), packed, output.data(), expected, &decoded) || decoded != expected) {
      return Fail(error, "bloco corrompido");
    }
    if (!target.Write(output.data(), expected)) return Fail(error, "falha ao gravar (disco cheio?)");
    written += expected;
  }
  return true;
}

}  // namespace orv
