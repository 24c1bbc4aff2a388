// The cancel-aware sleep of the clock seam, driven in fake time through the default poll loop.
#include <gtest/gtest.h>

#include <cstdint>
#include <thread>

#include "core/clock.h"
#include "support/fake_clock.h"

namespace orv {

namespace {

// The fake clock in polling mode runs the seam's own cancel-aware loop in fake time.
FakeClock PollingClock() {
  FakeClock clock;
  clock.poll = true;
  clock.now_ns = 0;
  return clock;
}

TEST(ClockSleepUnlessCancelled, WakesSoonAfterTheFlagIsSetDuringALongBackOff) {
  FakeClock clock = PollingClock();
  CancelFlag cancel{0};
  std::uint64_t set_at_ms = 0;
  clock.on_sleep = [&] {
    if (set_at_ms == 0 && clock.now_ms() >= 7'000) {
      cancel.store(1);
      set_at_ms = clock.now_ms();
    }
  };
  EXPECT_FALSE(clock.SleepUnlessCancelled(30'000, &cancel));
  ASSERT_NE(set_at_ms, 0u);
  EXPECT_LT(clock.now_ms() - set_at_ms, 1'000u);
  EXPECT_LT(clock.now_ms(), 8'000u);
}

TEST(ClockSleepUnlessCancelled, SleepsTheFullDelayWithoutAFlagAndNotAtAllWhenAlreadySet) {
  FakeClock clock = PollingClock();
  CancelFlag cancel{0};
  EXPECT_TRUE(clock.SleepUnlessCancelled(2'000, &cancel));
  EXPECT_EQ(clock.now_ms(), 2'000u);
  EXPECT_TRUE(clock.SleepUnlessCancelled(1'234, nullptr));
  EXPECT_EQ(clock.now_ms(), 3'234u);
  cancel.store(1);
  EXPECT_FALSE(clock.SleepUnlessCancelled(30'000, &cancel));
  EXPECT_EQ(clock.now_ms(), 3'234u);
}

// The process clock really wakes: a 30 s sleep ends soon after another thread sets the flag.
TEST(ClockSleepUnlessCancelled, SystemClockWakesOnTheFlag) {
  CancelFlag cancel{0};
  std::thread setter([&] {
    SystemClock().SleepMs(50);
    cancel.store(1);
  });
  const std::uint64_t start = SystemClock().NowNs();
  EXPECT_FALSE(SystemClock().SleepUnlessCancelled(30'000, &cancel));
  setter.join();
  // Generous: a loaded machine may be slow, but nowhere near the 30 s asked for.
  EXPECT_LT(SystemClock().NowNs() - start, 10'000'000'000ULL);
}

}  // namespace

}  // namespace orv
