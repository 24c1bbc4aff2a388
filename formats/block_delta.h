// Block-delta transfer of a block-packed file: the new version is assembled in the staging folder from
// the installed file's blocks that are still right (wherever they moved to) and from byte ranges of
// the published .orvb for the rest; above a threshold the whole .orvb is fetched instead. The result
// must match the manifest's SHA-256 before it replaces the staged target.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "core/callbacks.h"
#include "core/clock.h"
#include "update/manifest.h"

namespace orv {

// 0 when `target` holds the verified new file; -1 on failure or cancellation with `error` set.
// `installed` may be missing; `installed_blocks` are its block digests as verification made them
// (Sha256OfBlocks with the entry's "bloco"; empty when there is no installed file), so the file is not
// read twice. Each reused block is still checked against its digest when it is copied. The .orvb's
// table is not trusted: the bytes a run of blocks spans may not exceed the stored lengths it needs, and
// every block must lie inside them, else "tabela em blocos invalida". A whole .orvb must decode to
// "tamanho" bytes ("tabela em blocos nao bate com o manifesto" before anything is written). `progress` sees the range
// and whole-file bytes and the final hash of the assembled file. Retries sleep through `clock`. Log lines name the
// entry's "caminho".
[[nodiscard]] int BlockDeltaDownload(const ManifestEntry& entry, const std::filesystem::path& installed,
                                     const std::string& installed_blocks, const std::filesystem::path& target,
                                     const std::string& base_url, const ProgressCallback& progress,
                                     const CancelFlag* cancel, Clock& clock, std::string& error);

// Groups ascending block indices into runs of adjacent blocks, at most `max_blocks` each.
[[nodiscard]] std::vector<std::vector<std::uint32_t>> AdjacentRuns(const std::vector<std::uint32_t>& indices,
                                                                   std::size_t max_blocks);

}  // namespace orv
