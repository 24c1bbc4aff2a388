// ORVB: the block form of one published file. A 28-byte header ("ORVB", version 1, algorithm, block
// size, raw size, block count; little-endian), the block table (16 bytes per block: u64 absolute
// offset, u32 stored length, u32 stored flag) and the blocks' stored bytes wherever the offsets say.
// Each block is one buffer-mode Compression API output, or its raw bytes when the flag is non-zero.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "core/callbacks.h"

namespace orv {

inline constexpr std::uint32_t kOrvbVersion = 1;
inline constexpr std::uint32_t kOrvbMaxBlockSize = 0x10000000;
inline constexpr std::size_t kOrvbHeaderSize = 28;
inline constexpr std::size_t kOrvbEntrySize = 16;

struct OrvbBlock {
  std::uint64_t offset = 0;
  std::uint32_t stored_length = 0;
  std::uint32_t stored_flag = 0;  // non-zero: raw bytes
};

struct OrvbTable {
  std::uint32_t algorithm = 0;
  std::uint32_t block_size = 0;
  std::uint64_t raw_size = 0;
  std::vector<OrvbBlock> blocks;
};

// Parses the header and table at the start of `bytes` (further bytes are ignored). Errors, in the
// order checked: "arquivo em blocos invalido", "cabecalho em blocos invalido", "tabela em blocos
// truncada", "tabela em blocos invalida". Offsets, flags and the algorithm are not checked here.
[[nodiscard]] bool ReadOrvbTable(std::span<const std::uint8_t> bytes, OrvbTable& table, std::string& error);

// Raw length of block `index` (the last one may be short). `index` must be below the block count.
[[nodiscard]] std::uint32_t OrvbBlockRawLength(const OrvbTable& table, std::size_t index);

// Decodes block `index` from exactly its stored bytes into `out`, resized to the block's raw length
// first. A fresh decompressor per compressed block keeps blocks independent. Errors: "bloco cru com
// tamanho errado", "algoritmo de compressao nao suportado", "bloco corrompido".
[[nodiscard]] bool DecodeOrvbBlock(const OrvbTable& table, std::size_t index, std::span<const std::uint8_t> stored,
                                   std::vector<std::uint8_t>& out, std::string& error);

// Decodes a whole ORVB file into `target` (created anew), one block in memory at a time, reading
// blocks by their offsets. `expected_size`, when given, is the size the decoded file must have (the
// manifest's): a header that claims another raw size is refused before the target is created, so a
// table that names one small block many times cannot expand without bound. A block that does not lie
// inside the file is "arquivo em blocos truncado" before its buffer is reserved. `cancel` (may be null)
// is looked at before each block. Errors: "nao abriu o arquivo em blocos", "arquivo em blocos
// truncado", "tabela em blocos truncada", ReadOrvbTable's, "tabela em blocos nao bate com o
// manifesto", "nao criou o arquivo de saida", "cancelado", DecodeOrvbBlock's, "falha ao gravar (disco
// cheio?)" (and "memoria insuficiente" when a buffer cannot be had). A partly written target is left.
[[nodiscard]] bool DecompressOrvbFile(const std::filesystem::path& source_path,
                                      const std::filesystem::path& target_path,
                                      std::optional<std::uint64_t> expected_size, const CancelFlag* cancel,
                                      std::string& error);

}  // namespace orv
