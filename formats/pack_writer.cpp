#include "formats/pack_writer.h"

#include <cstring>
#include <new>
#include <vector>

#include "core/file.h"
#include "formats/byte_buffer.h"
#include "formats/codec/buffer_encode.h"
#include "formats/codec/byte_order.h"
#include "formats/orvb.h"
#include "formats/orvz.h"

namespace orv {

namespace {

bool Fail(std::string& error, const char* message) {
  error = message;
  return false;
}

bool CheckParameters(const PackParameters& p, std::string& error) {
  if (!BuiltinEncoderSupports(p.algorithm)) return Fail(error, "algoritmo de compressao nao suportado");
  if (p.chunk_size == 0 || p.chunk_size > kOrvzMaxChunkSize) return Fail(error, "tamanho de bloco invalido");
  return true;
}

// Opens the source and tells its size.
bool OpenSource(const std::filesystem::path& path, File& file, std::uint64_t& size, std::string& error) {
  if (!file.Open(path, File::Access::kReadSequential)) return Fail(error, "nao abriu o arquivo de origem");
  const std::int64_t known = file.Size();
  if (known < 0) return Fail(error, "falha ao ler o arquivo de origem");
  size = static_cast<std::uint64_t>(known);
  return true;
}

// Reads the next `length` bytes of the source and encodes them into `encoded`.
bool ReadAndEncode(File& source, ByteBuffer& raw, std::size_t length, const PackParameters& p,
                   std::vector<std::uint8_t>& encoded, std::string& error) {
  if (source.ReadFull(raw.data(), length) != static_cast<std::int64_t>(length)) {
    return Fail(error, "falha ao ler o arquivo de origem");
  }
  if (!EncodeBufferMode(p.algorithm, raw.data(), length, encoded, EncodeOptions{p.level})) {
    return Fail(error, "memoria insuficiente");
  }
  return true;
}

}  // namespace

bool WriteOrvzFile(const std::filesystem::path& source_path, const std::filesystem::path& target_path,
                   const PackParameters& parameters, const CancelFlag* cancel, std::string& error) {
  if (!CheckParameters(parameters, error)) return false;
  File source;
  std::uint64_t raw_size = 0;
  if (!OpenSource(source_path, source, raw_size, error)) return false;
  File target(target_path, File::Access::kCreate);
  if (!target.IsOpen()) return Fail(error, "nao criou o arquivo de saida");

  std::uint8_t header[kOrvzHeaderSize];
  std::memcpy(header, "ORVZ", 4);
  StoreLe32(header + 4, kOrvzVersion);
  StoreLe32(header + 8, parameters.algorithm);
  StoreLe32(header + 12, parameters.chunk_size);
  StoreLe64(header + 16, raw_size);
  if (!target.Write(header, sizeof(header))) return Fail(error, "falha ao gravar (disco cheio?)");

  ByteBuffer raw;
  const std::uint64_t buffer_size = raw_size < parameters.chunk_size ? raw_size : parameters.chunk_size;
  if (!raw.Reserve(static_cast<std::size_t>(buffer_size))) return Fail(error, "memoria insuficiente");
  std::vector<std::uint8_t> encoded;
  for (std::uint64_t done = 0; done < raw_size;) {
    if (IsSet(cancel)) return Fail(error, "cancelado");
    const std::uint64_t left = raw_size - done;
    const auto length = static_cast<std::size_t>(left < parameters.chunk_size ? left : parameters.chunk_size);
    if (!ReadAndEncode(source, raw, length, parameters, encoded, error)) return false;
    // A raw-stored container is only its header and length words bigger than the chunk.
    if (encoded.size() > MaxPackedLength(parameters.chunk_size)) return Fail(error, "memoria insuficiente");
    std::uint8_t prefix[4];
    StoreLe32(prefix, static_cast<std::uint32_t>(encoded.size()));
    if (!target.Write(prefix, 4) || !target.Write(encoded.data(), encoded.size())) {
      return Fail(error, "falha ao gravar (disco cheio?)");
    }
    done += length;
  }
  return true;
}

bool WriteOrvbFile(const std::filesystem::path& source_path, const std::filesystem::path& target_path,
                   const PackParameters& parameters, const CancelFlag* cancel, std::string& error) {
  if (!CheckParameters(parameters, error)) return false;
  File source;
  std::uint64_t raw_size = 0;
  if (!OpenSource(source_path, source, raw_size, error)) return false;
  const std::uint64_t block_size = parameters.chunk_size;
  const std::uint64_t count = (raw_size + block_size - 1) / block_size;
  if (count > 0xFFFFFFFFu) return Fail(error, "arquivo grande demais para o tamanho de bloco");
  File target(target_path, File::Access::kCreate);
  if (!target.IsOpen()) return Fail(error, "nao criou o arquivo de saida");

  // Header and table first (the table is filled in once every block's place is known).
  std::vector<std::uint8_t> head;
  try {
    head.assign(kOrvbHeaderSize + count * kOrvbEntrySize, 0);
  } catch (const std::bad_alloc&) {
    return Fail(error, "memoria insuficiente");
  }
  std::memcpy(head.data(), "ORVB", 4);
  StoreLe32(head.data() + 4, kOrvbVersion);
  StoreLe32(head.data() + 8, parameters.algorithm);
  StoreLe32(head.data() + 12, parameters.chunk_size);
  StoreLe64(head.data() + 16, raw_size);
  StoreLe32(head.data() + 24, static_cast<std::uint32_t>(count));
  if (!target.Write(head.data(), head.size())) return Fail(error, "falha ao gravar (disco cheio?)");

  ByteBuffer raw;
  const std::uint64_t buffer_size = raw_size < block_size ? raw_size : block_size;
  if (!raw.Reserve(static_cast<std::size_t>(buffer_size))) return Fail(error, "memoria insuficiente");
  std::vector<std::uint8_t> encoded;
  std::uint64_t offset = head.size();
  for (std::uint64_t i = 0; i < count; ++i) {
    if (IsSet(cancel)) return Fail(error, "cancelado");
    const std::uint64_t left = raw_size - i * block_size;
    const auto length = static_cast<std::size_t>(left < block_size ? left : block_size);
    if (!ReadAndEncode(source, raw, length, parameters, encoded, error)) return false;
    const bool stored = encoded.size() >= length;
    const std::uint8_t* bytes = stored ? raw.data() : encoded.data();
    const std::size_t stored_length = stored ? length : encoded.size();
    if (!target.Write(bytes, stored_length)) return Fail(error, "falha ao gravar (disco cheio?)");
    std::uint8_t* entry = head.data() + kOrvbHeaderSize + i * kOrvbEntrySize;
    StoreLe64(entry, offset);
    StoreLe32(entry + 8, static_cast<std::uint32_t>(stored_length));
    StoreLe32(entry + 12, stored ? 1 : 0);
    offset += stored_length;
  }
  if (!target.Seek(kOrvbHeaderSize) || !target.Write(head.data() + kOrvbHeaderSize, head.size() - kOrvbHeaderSize)) {
    return Fail(error, "falha ao gravar (disco cheio?)");
  }
  return true;
}

}  // namespace orv
