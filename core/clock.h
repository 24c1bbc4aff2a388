// The monotonic clock and the sleeper, behind one seam so tests can assert the requested delays
// (back-off, launch spacing) and drive throttling without waiting.
#pragma once

#include <cstdint>

#include "core/callbacks.h"

namespace orv {

class Clock {
 public:
  virtual ~Clock() = default;
  // Monotonic nanoseconds from an arbitrary origin.
  [[nodiscard]] virtual std::uint64_t NowNs() = 0;
  virtual void SleepMs(std::uint32_t milliseconds) = 0;
  // Sleeps up to `milliseconds` but wakes within kCancelPollMs once `cancel` (may be null) is set. Returns false when
  // the flag was set (before or during the sleep), true after the full delay. The default polls the flag between
  // SleepMs slices, so a clock with a fake SleepMs moves through the slices in fake time.
  [[nodiscard]] virtual bool SleepUnlessCancelled(std::uint32_t milliseconds, const CancelFlag* cancel);

  static constexpr std::uint32_t kCancelPollMs = 20;
};

// The real clock of the process.
Clock& SystemClock();

}  // namespace orv
