// The monotonic clock and the sleeper, behind one seam so tests can assert the requested delays
// (back-off, launch spacing) and drive throttling without waiting.
#pragma once

#include <cstdint>

class Clock {
 public:
  virtual ~Clock() = default;
  // Monotonic nanoseconds from an arbitrary origin.
  [[nodiscard]] virtual std::uint64_t NowNs() = 0;
  virtual void SleepMs(std::uint32_t milliseconds) = 0;
};

// The real clock of the process.
Clock& SystemClock();
