#include "window-shop/host_process.h"

#include <gtest/gtest.h>

#include <functional>
#include <utility>
#include <vector>

namespace {

using std::chrono::milliseconds;

/// Its waits are over at once: each is a step of a script.
class ScriptedProcess : public window_shop::HostProcess {
 public:
  explicit ScriptedProcess(std::vector<std::function<int()>> script) : script_(std::move(script)) {}

  std::vector<unsigned int> waits;  ///< their limits
  unsigned int pauses = 0;
  std::function<void()> on_pause = [] {};

 protected:
  int Wait(LSignalObjectRef, unsigned int ms) override {
    waits.push_back(ms);
    return waits.size() <= script_.size() ? script_[waits.size() - 1]() : kTimePassed;
  }
  bool Pause(unsigned int) override {
    ++pauses;
    on_pause();
    return IsToStop();
  }

 private:
  const std::vector<std::function<int()>> script_;
};

constexpr unsigned int kHourMs = 3'600'000;

TEST(WindowShopWait, EndsWhenTheTimeHasPassed) {
  ScriptedProcess process({});
  EXPECT_EQ(process.ProcessWaitSignal({}, 1), 2);
  EXPECT_EQ(process.waits, std::vector<unsigned int>{1});
}

// A question of an hour in a wait of an hour: nearly two hours are left of three.
TEST(WindowShopWait, GetsBackTheTimeOfAQuestion) {
  ScriptedProcess* self = nullptr;
  const auto ask = [&] {
    self->GiveBack(milliseconds(kHourMs));
    return 2;
  };
  ScriptedProcess process({ask, ask, [] { return 0; }});
  self = &process;
  EXPECT_EQ(process.ProcessWaitSignal({}, kHourMs), 0);
  ASSERT_EQ(process.waits.size(), 3u);
  EXPECT_GT(process.waits[1], kHourMs);
  EXPECT_LE(process.waits[1], 2 * kHourMs);
  EXPECT_GT(process.waits[2], 2 * kHourMs);
  EXPECT_LE(process.waits[2], 3 * kHourMs);
}

TEST(WindowShopWait, GivesNothingBackToTheNextWait) {
  ScriptedProcess process({});
  process.GiveBack(milliseconds(kHourMs));
  EXPECT_EQ(process.ProcessWaitSignal({}, 1), 2);
  EXPECT_EQ(process.waits.size(), 1u);
}

// The question's own wait has no limit, and runs inside of the store's.
TEST(WindowShopWait, WithoutALimitLeavesTheOuterWaitsTimeAlone) {
  ScriptedProcess* self = nullptr;
  ScriptedProcess process({[&] {
                             self->GiveBack(milliseconds(kHourMs));
                             return self->ProcessWaitSignal({}, 0xFFFFFFFF);
                           },
                           [] { return 2; }, [] { return 0; }});
  self = &process;
  EXPECT_EQ(process.ProcessWaitSignal({}, kHourMs), 0);
  ASSERT_EQ(process.waits.size(), 3u);
  EXPECT_EQ(process.waits[1], 0xFFFFFFFF);
  EXPECT_GT(process.waits[2], kHourMs);
}

TEST(WindowShopGroup, IsLookedAtAgainAndAgain) {
  ScriptedProcess process({});
  LSignalObject signal;
  LSignalObjectGroup group;
  group.Add(signal);
  process.on_pause = [&] {
    if (process.pauses == 3) signal.Signal();
  };
  EXPECT_EQ(process.ProcessWaitSignalObjectGroup(group, 0xFFFFFFFF), 0);
  EXPECT_EQ(process.pauses, 3u);
  signal.Reset();
  EXPECT_EQ(process.ProcessWaitSignalObjectGroup(group, 0), 2);
  process.on_pause = [&] { process.Stop(); };
  EXPECT_EQ(process.ProcessWaitSignalObjectGroup(group, kHourMs), 1);
}

TEST(WindowShopStep, ForgetsTheStopAndTheErrorBefore) {
  ScriptedProcess process({});
  process.Stop();
  process.SetError("it went wrong");
  EXPECT_TRUE(process.IsToStop());
  EXPECT_TRUE(process.IsProcessEventHandlerToStop());
  EXPECT_EQ(process.Error(), "it went wrong");
  process.BeginStep();
  EXPECT_FALSE(process.IsToStop());
  EXPECT_FALSE(process.IsProcessEventHandlerToStop());
  EXPECT_EQ(process.Error(), "");
}

}  // namespace
