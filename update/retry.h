// How a transfer is retried: up to eight attempts with a growing pause between them, the same for a
// whole file, a compressed container, a range of blocks and a block file's table.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "core/callbacks.h"
#include "core/clock.h"

namespace orv {

inline constexpr int kMaxTransferAttempts = 8;

// Back-off before retry `attempt` (from 0; negative counts as 0): 2000, 4000, 8000, 15000, then
// 30000 ms.
[[nodiscard]] std::uint32_t RetryDelayMs(int attempt);

// Calls `attempt(reason)` until it returns true, at most kMaxTransferAttempts times; true as soon as
// one succeeds. `cancel` (may be null) is looked at before every attempt and after every failure: once
// set, the loop ends with false and the failure is not counted (no log line, no pause). Any other
// failure logs "<label> falhou (<reason>), tentativa N" (N from 1) unless `label` is empty, then
// pauses RetryDelayMs(attempt) through `clock`, cut short by the flag; the pause follows the last
// failure too, before giving up. `reason` holds what the last attempt left in it.
[[nodiscard]] bool RetryTransfer(const std::function<bool(std::string& reason)>& attempt, const std::string& label,
                                 const CancelFlag* cancel, Clock& clock, std::string& reason);

}  // namespace orv
