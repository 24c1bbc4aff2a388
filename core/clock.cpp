#include "core/clock.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace orv {

namespace {

class SteadyClock final : public Clock {
 public:
  std::uint64_t NowNs() override {
    return static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
            .count());
  }
  void SleepMs(std::uint32_t milliseconds) override {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
  }
};

}  // namespace

bool Clock::SleepUnlessCancelled(std::uint32_t milliseconds, const CancelFlag* cancel) {
  const auto is_set = [cancel] { return cancel != nullptr && cancel->load(std::memory_order_relaxed) != 0; };
  std::uint32_t left = milliseconds;
  while (left > 0) {
    if (is_set()) return false;
    const std::uint32_t slice = std::min(left, kCancelPollMs);
    SleepMs(slice);
    left -= slice;
  }
  return !is_set();
}

Clock& SystemClock() {
  static SteadyClock clock;
  return clock;
}

}  // namespace orv
