// A clock that only moves when told to; sleeps are recorded and advance it at once.
#pragma once

#include <cstdint>
#include <vector>

#include "core/clock.h"

namespace orv {

class FakeClock final : public Clock {
 public:
  std::uint64_t NowNs() override { return now_ns; }
  void SleepMs(std::uint32_t milliseconds) override {
    sleeps_ms.push_back(milliseconds);
    now_ns += static_cast<std::uint64_t>(milliseconds) * 1'000'000ULL;
    if (on_sleep) on_sleep();
  }
  // Records the requested delay as one sleep, so tests see the back-off schedule rather than poll slices.
  bool SleepUnlessCancelled(std::uint32_t milliseconds, const CancelFlag* cancel) override {
    if (IsCancelled(cancel)) return false;
    SleepMs(milliseconds);
    return !IsCancelled(cancel);
  }
  void AdvanceMs(std::uint64_t milliseconds) { now_ns += milliseconds * 1'000'000ULL; }

  std::uint64_t now_ns = 1'000'000'000ULL;
  std::vector<std::uint32_t> sleeps_ms;
  void (*on_sleep)() = nullptr;

 private:
  static bool IsCancelled(const CancelFlag* cancel) { return cancel != nullptr && cancel->load() != 0; }
};

}  // namespace orv
