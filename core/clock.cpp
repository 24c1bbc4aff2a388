#include "core/clock.h"

#include <chrono>
#include <thread>

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

Clock& SystemClock() {
  static SteadyClock clock;
  return clock;
}
