#include "formats/orvz.h"

#include <cstring>

#include "core/file.h"
#include "formats/byte_buffer.h"
#include "formats/codec/byte_order.h"
#include "formats/codec/decompressor.h"

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
                        const CancelFlag* cancel, std::string& error) {
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
      chunk_size > kOrvzMaxChunkSize) {
    return Fail(error, "arquivo comprimido invalido");
  }

  Decompressor decompressor;
  if (!decompressor.Create(LoadLe32(algorithm))) return Fail(error, "algoritmo de compressao nao suportado");

  File target(target_path, File::Access::kCreate);
  if (!target.IsOpen()) return Fail(error, "nao criou o arquivo de saida");

  // No chunk decodes to more than the chunk size, nor to more than the whole file.
  const std::uint64_t output_size = raw_size < chunk_size ? raw_size : chunk_size;
  ByteBuffer output, input;
  if (!output.Reserve(static_cast<std::size_t>(output_size))) return Fail(error, "memoria insuficiente");

  const std::uint64_t max_packed = MaxPackedLength(chunk_size);
  std::uint64_t written = 0;
  while (written < raw_size) {
    if (IsSet(cancel)) return Fail(error, "cancelado");

    std::uint8_t length_bytes[4];
    if (!ReadExactly(source, length_bytes, 4)) return Fail(error, "bloco invalido");
    const std::uint32_t packed = LoadLe32(length_bytes);
    if (packed == 0 || packed > max_packed) return Fail(error, "bloco invalido");

    if (!input.Reserve(packed)) return Fail(error, "memoria insuficiente");
    if (!ReadExactly(source, input.data(), packed)) return Fail(error, "arquivo comprimido truncado");

    const std::uint64_t left = raw_size - written;
    const auto expected = static_cast<std::size_t>(left < chunk_size ? left : chunk_size);
    std::size_t decoded = 0;
    if (!decompressor.Decompress(input.data(), packed, output.data(), expected, &decoded) || decoded != expected) {
      return Fail(error, "bloco corrompido");
    }
    if (!target.Write(output.data(), expected)) return Fail(error, "falha ao gravar (disco cheio?)");
    written += expected;
  }
  return true;
}
