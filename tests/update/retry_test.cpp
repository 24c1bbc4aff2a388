// The one retry loop of every transfer: how many attempts, which pauses, what a pause (the cancel
// flag) does at each point, and the log line. Time is fake; the attempts are scripted.
#include "update/retry.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "support/fake_clock.h"
#include "support/game_folder_view.h"
#include "support/scoped_folders.h"

namespace orv {

namespace {

class RetryTransferTest : public ::testing::Test {
 protected:
  // Runs the loop with an attempt that fails with "HTTP 5xx" (x the attempt number) until call
  // `succeed_at` (1-based; 0: never), and calls `during` at every call first.
  bool Run(int succeed_at, const std::string& label, const std::function<void(int)>& during = {}) {
    calls_ = 0;
    const auto attempt = [&](std::string& reason) {
      ++calls_;
      if (during) during(calls_);
      if (calls_ == succeed_at) return true;
      reason = "HTTP 50" + std::to_string(calls_);
      return false;
    };
    return RetryTransfer(attempt, label, &cancel_, clock_, reason_);
  }

  ScopedFolders folders_;
  FakeClock clock_;
  CancelFlag cancel_{0};
  std::string reason_ = "intocado";
  int calls_ = 0;
};

TEST(RetryDelay, GrowsThenStaysAtThirtySeconds) {
  const std::vector<std::uint32_t> expected = {2000, 4000, 8000, 15000, 30000, 30000, 30000};
  for (int attempt = 0; attempt < 7; ++attempt) EXPECT_EQ(RetryDelayMs(attempt), expected[attempt]) << attempt;
  EXPECT_EQ(RetryDelayMs(1000), 30000u);
  EXPECT_EQ(RetryDelayMs(-3), 2000u);
}

TEST_F(RetryTransferTest, EightFailuresGiveUpAfterTheLastPauseWithOneLogLineEach) {
  EXPECT_FALSE(Run(0, "download dados/a.pak"));
  EXPECT_EQ(calls_, 8);
  EXPECT_EQ(clock_.sleeps_ms, (std::vector<std::uint32_t>{2000, 4000, 8000, 15000, 30000, 30000, 30000, 30000}));
  EXPECT_EQ(reason_, "HTTP 508");
  const std::string log = LauncherLog();
  EXPECT_NE(log.find("] download dados/a.pak falhou (HTTP 501), tentativa 1\r\n"), std::string::npos) << log;
  EXPECT_NE(log.find("] download dados/a.pak falhou (HTTP 508), tentativa 8\r\n"), std::string::npos) << log;
  EXPECT_EQ(log.find("tentativa 9"), std::string::npos);
}

TEST_F(RetryTransferTest, ASuccessEndsTheLoopAndAnEmptyLabelLogsNothing) {
  EXPECT_TRUE(Run(3, ""));
  EXPECT_EQ(calls_, 3);
  EXPECT_EQ(clock_.sleeps_ms, (std::vector<std::uint32_t>{2000, 4000}));
  EXPECT_EQ(LauncherLog().find("falhou"), std::string::npos);

  EXPECT_TRUE(Run(1, "faixa de x"));
  EXPECT_EQ(clock_.sleeps_ms.size(), 2u);
}

TEST_F(RetryTransferTest, APauseIsNotAFailedAttempt) {
  // Set before the loop: no attempt at all, the reason left alone.
  cancel_ = 1;
  EXPECT_FALSE(Run(0, "download a"));
  EXPECT_EQ(calls_, 0);
  EXPECT_EQ(reason_, "intocado");

  // Set during the second attempt: that failure is neither logged nor followed by a pause.
  cancel_ = 0;
  EXPECT_FALSE(Run(0, "download b", [this](int call) { cancel_ = call == 2 ? 1 : 0; }));
  EXPECT_EQ(calls_, 2);
  EXPECT_EQ(clock_.sleeps_ms, (std::vector<std::uint32_t>{2000}));
  const std::string log = LauncherLog();
  EXPECT_NE(log.find("download b falhou (HTTP 501), tentativa 1"), std::string::npos) << log;
  EXPECT_EQ(log.find("tentativa 2"), std::string::npos) << log;

  // Set during a back-off: the pause is cut short and nothing more is tried.
  cancel_ = 0;
  clock_.sleeps_ms.clear();
  clock_.on_sleep = [this] { cancel_ = 1; };
  EXPECT_FALSE(Run(0, "download c"));
  EXPECT_EQ(calls_, 1);
  EXPECT_EQ(clock_.sleeps_ms.size(), 1u);
}

}  // namespace

}  // namespace orv
