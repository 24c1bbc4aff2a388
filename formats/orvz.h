// ORVZ: the compressed form of one published file. A 24-byte header ("ORVZ", version 1, algorithm,
// chunk size, raw size; little-endian), then one record per chunk: u32 compressed length L and L bytes
// of one buffer-mode Compression API output. Chunk k decodes to min(raw size - k * chunk size, chunk
// size) bytes. Bytes after the last chunk are ignored.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "core/callbacks.h"

namespace orv {

inline constexpr std::uint32_t kOrvzVersion = 1;
inline constexpr std::uint32_t kOrvzMaxChunkSize = 0x10000000;
inline constexpr std::uint64_t kOrvzHeaderSize = 24;

// The largest compressed length a chunk (or an ORVB block) may declare.
[[nodiscard]] inline std::uint64_t MaxPackedLength(std::uint32_t chunk_size) {
  return std::uint64_t{chunk_size} + chunk_size / 2 + 0x10000;
}

// Decodes `source` into `target` (created anew), one chunk in memory at a time. `expected_size`, when
// given, is the size the decoded file must have (the manifest's): a header that claims another raw
// size is refused before the target is created, so a small file cannot expand without bound. Buffers
// follow what the file holds: a chunk length beyond the bytes left in the file is "arquivo comprimido
// truncado" before anything is reserved, and the output buffer is had only once a chunk has arrived.
// `cancel` (may be null) is looked at before each chunk. On failure `error` gets one of: "nao abriu o
// arquivo comprimido", "arquivo comprimido invalido", "algoritmo de compressao nao suportado", "nao
// criou o arquivo de saida", "cancelado", "bloco invalido", "arquivo comprimido truncado", "bloco
// corrompido", "falha ao gravar (disco cheio?)" (and "memoria insuficiente" when a buffer cannot be
// had); a partly written target is left for the caller. `error` is untouched on success.
[[nodiscard]] bool DecompressOrvzFile(const std::filesystem::path& source_path,
                                      const std::filesystem::path& target_path,
                                      std::optional<std::uint64_t> expected_size, const CancelFlag* cancel,
                                      std::string& error);

}  // namespace orv
