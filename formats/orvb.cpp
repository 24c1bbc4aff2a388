#include "formats/orvb.h"

#include <cstring>
#include <new>
#include <optional>

#include "core/file.h"
#include "formats/byte_buffer.h"
#include "formats/codec/byte_order.h"
#include "formats/codec/decompressor.h"
#include "formats/orvz.h"

namespace orv {

namespace {

bool Fail(std::string& error, const char* message) {
  error = message;
  return false;
}

// Reads `size` more bytes onto the end of `bytes`, growing it only as the data really arrives, so a
// huge count in a short file costs no memory. False on a short read; `out_of_memory` tells why.
bool AppendFromFile(File& file, std::uint64_t size, std::vector<std::uint8_t>& bytes, bool& out_of_memory) {
  constexpr std::uint64_t kStep = 16 * 1024 * 1024;
  out_of_memory = false;
  while (size > 0) {
    const std::size_t step = static_cast<std::size_t>(size < kStep ? size : kStep);
    const std::size_t at = bytes.size();
    try {
      bytes.resize(at + step);
    } catch (const std::bad_alloc&) {
      out_of_memory = true;
      return false;
    }
    if (file.ReadFull(bytes.data() + at, step) != static_cast<std::int64_t>(step)) return false;
    size -= step;
  }
  return true;
}

}  // namespace

bool ReadOrvbTable(std::span<const std::uint8_t> bytes, OrvbTable& table, std::string& error) {
  if (bytes.size() < kOrvbHeaderSize || std::memcmp(bytes.data(), "ORVB", 4) != 0) {
    return Fail(error, "arquivo em blocos invalido");
  }
  const std::uint8_t* p = bytes.data();
  const std::uint32_t version = LoadLe32(p + 4);
  const std::uint32_t algorithm = LoadLe32(p + 8);
  const std::uint32_t block_size = LoadLe32(p + 12);
  const std::uint64_t raw_size = LoadLe64(p + 16);
  const std::uint32_t count = LoadLe32(p + 24);
  // The count rule in unsigned 64-bit arithmetic, as published: raw size 0 needs count 0.
  if (version != kOrvbVersion || block_size == 0 || block_size > kOrvbMaxBlockSize ||
      std::uint64_t{count} != (raw_size - 1 + block_size) / block_size) {
    return Fail(error, "cabecalho em blocos invalido");
  }
  if ((bytes.size() - kOrvbHeaderSize) / kOrvbEntrySize < count) return Fail(error, "tabela em blocos truncada");

  table.algorithm = algorithm;
  table.block_size = block_size;
  table.raw_size = raw_size;
  table.blocks.clear();
  try {
    table.blocks.reserve(count);
  } catch (const std::bad_alloc&) {
    return Fail(error, "memoria insuficiente");
  }
  const std::uint64_t max_stored = MaxPackedLength(block_size);
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::uint8_t* entry = p + kOrvbHeaderSize + std::size_t{i} * kOrvbEntrySize;
    OrvbBlock block;
    block.offset = LoadLe64(entry);
    block.stored_length = LoadLe32(entry + 8);
    block.stored_flag = LoadLe32(entry + 12);
    if (block.stored_length == 0 || block.stored_length > max_stored) {
      return Fail(error, "tabela em blocos invalida");
    }
    table.blocks.push_back(block);
  }
  return true;
}

std::uint32_t OrvbBlockRawLength(const OrvbTable& table, std::size_t index) {
  const std::uint64_t start = std::uint64_t{index} * table.block_size;
  const std::uint64_t left = table.raw_size - start;
  return left < table.block_size ? static_cast<std::uint32_t>(left) : table.block_size;
}

bool DecodeOrvbBlock(const OrvbTable& table, std::size_t index, std::span<const std::uint8_t> stored,
                     std::vector<std::uint8_t>& out, std::string& error) {
  if (index >= table.blocks.size()) return Fail(error, "bloco invalido");
  const OrvbBlock& block = table.blocks[index];
  const std::uint32_t raw_length = OrvbBlockRawLength(table, index);
  try {
    out.resize(raw_length);
  } catch (const std::bad_alloc&) {
    return Fail(error, "memoria insuficiente");
  }

  if (block.stored_flag != 0) {
    if (block.stored_length != raw_length) return Fail(error, "bloco cru com tamanho errado");
    if (stored.size() < raw_length) return Fail(error, "bloco corrompido");
    std::memcpy(out.data(), stored.data(), raw_length);
    return true;
  }

  Decompressor decompressor;
  if (!decompressor.Create(table.algorithm)) return Fail(error, "algoritmo de compressao nao suportado");
  std::size_t decoded = 0;
  const bool ok = decompressor.Decompress(stored.data(), stored.size(), out.data(), raw_length, &decoded);
  decompressor.Close();
  if (!ok || decoded != raw_length) return Fail(error, "bloco corrompido");
  return true;
}

bool DecompressOrvbFile(const std::filesystem::path& source_path, const std::filesystem::path& target_path,
                        std::optional<std::uint64_t> expected_size, const CancelFlag* cancel, std::string& error) {
  File source(source_path, File::Access::kReadSequential);
  if (!source.IsOpen()) return Fail(error, "nao abriu o arquivo em blocos");

  std::vector<std::uint8_t> head(kOrvbHeaderSize);
  if (source.ReadFull(head.data(), kOrvbHeaderSize) != static_cast<std::int64_t>(kOrvbHeaderSize)) {
    return Fail(error, "arquivo em blocos truncado");
  }
  // The count is taken before anything else is checked; the table is read behind the header.
  const std::uint64_t count = LoadLe32(head.data() + 24);
  bool out_of_memory = false;
  if (!AppendFromFile(source, count * kOrvbEntrySize, head, out_of_memory)) {
    return Fail(error, out_of_memory ? "memoria insuficiente" : "tabela em blocos truncada");
  }

  OrvbTable table;
  if (!ReadOrvbTable(head, table, error)) return false;
  std::vector<std::uint8_t>().swap(head);
  if (expected_size && table.raw_size != *expected_size) {
    return Fail(error, "tabela em blocos nao bate com o manifesto");
  }
  const std::int64_t file_size = source.Size();
  const std::uint64_t size_on_disk = file_size > 0 ? static_cast<std::uint64_t>(file_size) : 0;

  File target(target_path, File::Access::kCreate);
  if (!target.IsOpen()) return Fail(error, "nao criou o arquivo de saida");

  ByteBuffer input;
  std::vector<std::uint8_t> output;
  for (std::size_t i = 0; i < table.blocks.size(); ++i) {
    if (IsSet(cancel)) return Fail(error, "cancelado");
    const OrvbBlock& block = table.blocks[i];
    // Reserve only what the file really holds, not what the table claims.
    if (block.offset > size_on_disk || block.stored_length > size_on_disk - block.offset) {
      return Fail(error, "arquivo em blocos truncado");
    }
    if (!input.Reserve(block.stored_length)) return Fail(error, "memoria insuficiente");
    if (!source.Seek(block.offset) ||
        source.ReadFull(input.data(), block.stored_length) != static_cast<std::int64_t>(block.stored_length)) {
      return Fail(error, "arquivo em blocos truncado");
    }
    if (!DecodeOrvbBlock(table, i, std::span<const std::uint8_t>(input.data(), block.stored_length), output, error)) {
      return false;
    }
    if (!target.Write(output.data(), output.size())) return Fail(error, "falha ao gravar (disco cheio?)");
  }
  return true;
}

}  // namespace orv
