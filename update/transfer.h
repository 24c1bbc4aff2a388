// The update run's transfer and install: each planned entry is fetched into the staging folder (block
// by block, as a compressed container, or whole), checked against its SHA-256, and all new files are
// installed together through the swap journal.
#pragma once

#include "update/run_context.h"

namespace orv {

enum class TransferOutcome {
  kInstalled,  // every file is in place (or there was nothing to install); the run goes on
  kEnded,      // a final "estado" was already sent
};

[[nodiscard]] TransferOutcome TransferAndInstall(RunContext& run, const UpdatePlan& plan);

}  // namespace orv
