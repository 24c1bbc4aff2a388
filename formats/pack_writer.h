// The publisher's side of ORVZ and ORVB (used by the packing tool): both stream the source one
// chunk or block at a time, so multi-GiB files need memory for one chunk and its encoding only.
// Chunks and blocks are written as Compression API buffer-mode containers, which Windows' own
// decoder reads, by our MSZIP or XPRESS_HUFF encoders.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include "core/callbacks.h"
#include "formats/codec/compression_algorithm.h"

namespace orv {

struct PackParameters {
  std::uint32_t algorithm = kAlgorithmXpressHuff;  // kAlgorithmMszip or kAlgorithmXpressHuff
  std::uint32_t chunk_size = 1u << 20;             // ORVZ chunk or ORVB block size, 1 to 0x10000000
  int level = 6;                                   // 1 (fastest) to 9 (smallest)
};

// Writes `target` as ORVZ. Errors: "algoritmo de compressao nao suportado", "tamanho de bloco
// invalido", "nao abriu o arquivo de origem", "nao criou o arquivo de saida", "cancelado", "falha ao
// ler o arquivo de origem", "memoria insuficiente", "falha ao gravar (disco cheio?)".
[[nodiscard]] bool WriteOrvzFile(const std::filesystem::path& source_path, const std::filesystem::path& target_path,
                                 const PackParameters& parameters, const CancelFlag* cancel, std::string& error);

// Writes `target` as ORVB: header, table, then the blocks in order. A block whose encoding is not
// smaller than its raw bytes is stored raw (stored flag 1). Errors as WriteOrvzFile, and "arquivo
// grande demais para o tamanho de bloco" when the block count would not fit in 32 bits.
[[nodiscard]] bool WriteOrvbFile(const std::filesystem::path& source_path, const std::filesystem::path& target_path,
                                 const PackParameters& parameters, const CancelFlag* cancel, std::string& error);

}  // namespace orv
