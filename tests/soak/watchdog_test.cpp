#include "watchdog.h"

#include <atomic>

#include <gtest/gtest.h>

#include <tests/support/waiting.h>

namespace {

TEST(Watchdog, BarksOnceNoSignComes) {
  std::atomic<int> barks{0};
  const support::Stopwatch watch;
  const soak::Watchdog watchdog(
      1, [] { return 7UL; }, [&barks] { ++barks; });
  EXPECT_TRUE(support::WaitUntil([&barks] { return barks > 0; }));
  EXPECT_GE(watch.Ms(), 900);
  support::SleepMs(1500);
  EXPECT_EQ(barks, 1);
}

TEST(Watchdog, IsQuietAsLongAsSignsCome) {
  std::atomic<unsigned long> asked{0};
  std::atomic<bool> barked{false};
  {
    const soak::Watchdog watchdog(
        1, [&asked] { return ++asked; }, [&barked] { barked = true; });
    EXPECT_TRUE(support::WaitUntil([&asked] { return asked >= 3; }));
  }
  EXPECT_FALSE(barked);
}

TEST(Watchdog, EndsAtOnce) {
  const support::Stopwatch watch;
  {
    const soak::Watchdog watchdog(
        3600, [] { return 0UL; }, [] {});
  }
  EXPECT_LT(watch.Ms(), 60000);
}

}  // namespace
