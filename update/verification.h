// Verification: every accepted entry checked against the installed file (hash cache, then SHA-256),
// the staging folder and, for block-packed entries, the installed file's blocks.
#pragma once

#include "update/run_context.h"

namespace orv {

// Fills `plan`. False when the run was cancelled; then "Cancelado." was already reported and the
// hash cache was not saved.
[[nodiscard]] bool VerifyInstallation(RunContext& run, UpdatePlan& plan);

// The transfer estimate of a block-packed entry from the installed file's block digests: the share
// of manifest blocks found nowhere in the installed file, times the .orvb size; at least 1.
[[nodiscard]] std::uint64_t BlockTransferEstimate(const ManifestEntry& entry, const std::string& installed_digests);

}  // namespace orv
