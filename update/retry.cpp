#include "update/retry.h"

#include <algorithm>
#include <array>

#include "core/callbacks.h"
#include "core/log.h"

namespace orv {

namespace {

constexpr std::array<std::uint32_t, 5> kRetryDelaysMs = {2000, 4000, 8000, 15000, 30000};

}  // namespace

std::uint32_t RetryDelayMs(int attempt) {
  return kRetryDelaysMs[static_cast<std::size_t>(std::clamp(attempt, 0, static_cast<int>(kRetryDelaysMs.size()) - 1))];
}

bool RetryTransfer(const std::function<bool(std::string& reason)>& attempt, const std::string& label,
                   const CancelFlag* cancel, Clock& clock, std::string& reason) {
  for (int n = 0; n < kMaxTransferAttempts; ++n) {
    if (IsSet(cancel)) return false;
    if (attempt(reason)) return true;
    // A pause is not a failed attempt: no log line, no back-off.
    if (IsSet(cancel)) return false;
    if (!label.empty()) Log("%s falhou (%s), tentativa %d", label.c_str(), reason.c_str(), n + 1);
    if (!clock.SleepUnlessCancelled(RetryDelayMs(n), cancel)) return false;
  }
  return false;
}

}  // namespace orv
