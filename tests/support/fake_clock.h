// A clock that never waits: time moves only when it is slept on, advanced by hand or read. Each test
// picks how it moves:
//   step_ms  added at every NowNs() (0: reading does not move it), so a throttled progress
//            report can be made to pass at every call;
//   poll     SleepUnlessCancelled runs the base class's cancel-aware loop, in kCancelPollMs slices
//            of fake time, so a test sees when a flag set during a back-off is noticed; otherwise
//            the whole delay passes at once and the flag is looked at before and after it.
// sleeps_ms records each requested delay once (a back-off is one entry, never its slices); on_sleep
// runs after every slice of time slept.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "core/clock.h"

namespace orv {

class FakeClock final : public Clock {
 public:
  std::uint64_t NowNs() override { return now_ns += std::uint64_t{step_ms} * 1'000'000ULL; }
  void SleepMs(std::uint32_t milliseconds) override {
    if (!in_slices_) sleeps_ms.push_back(milliseconds);
    AdvanceMs(milliseconds);
    if (on_sleep) on_sleep();
  }
  bool SleepUnlessCancelled(std::uint32_t milliseconds, const CancelFlag* cancel) override {
    if (IsCancelled(cancel)) return false;
    if (!poll) {
      SleepMs(milliseconds);
      return !IsCancelled(cancel);
    }
    sleeps_ms.push_back(milliseconds);
    in_slices_ = true;
    const bool slept = Clock::SleepUnlessCancelled(milliseconds, cancel);
    in_slices_ = false;
    return slept;
  }
  void AdvanceMs(std::uint64_t milliseconds) { now_ns += milliseconds * 1'000'000ULL; }
  [[nodiscard]] std::uint64_t now_ms() const { return now_ns / 1'000'000ULL; }

  std::uint32_t step_ms = 0;
  bool poll = false;
  std::uint64_t now_ns = 1'000'000'000ULL;
  std::vector<std::uint32_t> sleeps_ms;
  std::function<void()> on_sleep;

 private:
  static bool IsCancelled(const CancelFlag* cancel) { return cancel != nullptr && cancel->load() != 0; }
  bool in_slices_ = false;
};

}  // namespace orv
