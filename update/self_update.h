// Replacing the launcher's own executable: the new one is downloaded beside the running one, checked,
// and swapped in by troca.cmd after the launcher exits.
#pragma once

#include <filesystem>
#include <string>

#include "update/run_context.h"

namespace orv {

enum class SelfUpdateOutcome { kRestartPending, kSkipped };

// Downloads and checks the manifest's launcher, writes the swap script and records its path in the
// run state. A failure is logged and skipped: it never fails the game update.
[[nodiscard]] SelfUpdateOutcome RunSelfUpdate(RunContext& run);

// The swap script that moves `novo` over `exe` once the launcher has exited and starts it again.
[[nodiscard]] std::string SwapScriptText(const std::filesystem::path& novo, const std::filesystem::path& exe);

}  // namespace orv
