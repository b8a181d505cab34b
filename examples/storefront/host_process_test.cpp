#include "host_process.h"

#include <glib-unix.h>
#include <signal.h>

#include <memory>

#include <gtest/gtest.h>

#include <tests/support/waiting.h>

#include "on_loop_test.h"
#include "progress_line.h"

namespace {

using storefront::HostProcess;
using storefront::OnLoop;

class HostProcessTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    // GLib's own thread for signals starts with the first of these, and keeps its descriptor.
    g_source_remove(g_unix_signal_add(
        SIGINT, [](gpointer) -> gboolean { return G_SOURCE_REMOVE; }, nullptr));
  }

  storefront::ProgressLine progress_;
  HostProcess process_{progress_};
};

TEST_F(HostProcessTest, WaitEndsWithItsTime) {
  const support::Stopwatch stopwatch;
  EXPECT_FALSE(process_.ProcessWait(100));
  EXPECT_GE(stopwatch.Ms(), 95);
}

TEST_F(HostProcessTest, SignalEndsTheWait) {
  const LSignalObject signal;
  for (const unsigned int ms : {support::kLongMs, 0xFFFFFFFFU}) {
    const OnLoop later(20, [&] { signal.Signal(); });
    const support::Stopwatch stopwatch;
    EXPECT_EQ(process_.ProcessWaitSignal(signal, ms), 0) << ms;
    EXPECT_LT(stopwatch.Ms(), support::kSoonMs) << ms;
  }
}

TEST_F(HostProcessTest, GroupWaitPumpsAndAnswersAsASignalWaitDoes) {
  LSignalObject one;
  LSignalObject other;
  LSignalObjectGroup group;
  group.Add(one);
  group.Add(other);
  const support::Stopwatch stopwatch;
  EXPECT_EQ(process_.ProcessWaitSignalObjectGroup(group, 50), 2);
  EXPECT_GE(stopwatch.Ms(), 45);
  for (const unsigned int ms : {support::kLongMs, 0xFFFFFFFFU}) {
    const OnLoop later(20, [&] { other.Signal(); });
    EXPECT_EQ(process_.ProcessWaitSignalObjectGroup(group, ms), 0) << ms;
    other.Reset();
  }
  EXPECT_LT(stopwatch.Ms(), support::kSoonMs);
}

TEST_F(HostProcessTest, CtrlCEndsEveryWait) {
  const LSignalObject never;
  LSignalObjectGroup group;
  group.Add(never);
  const OnLoop later(20, [] { raise(SIGINT); });
  const support::Stopwatch stopwatch;
  EXPECT_EQ(process_.ProcessWaitSignal(never, support::kLongMs), 1);
  EXPECT_EQ(process_.ProcessWaitSignal(never, 0xFFFFFFFF), 1);
  EXPECT_EQ(process_.ProcessWaitSignalObjectGroup(group, support::kLongMs), 1);
  EXPECT_TRUE(process_.ProcessWait(support::kLongMs));
  EXPECT_TRUE(process_.IsToStop());
  EXPECT_LT(stopwatch.Ms(), support::kSoonMs);
}

TEST_F(HostProcessTest, KeepsACopyOfAnError) {
  char text[] = "first";
  process_.SetError(text);
  text[0] = 'X';
  EXPECT_EQ(process_.TakeError(), "first");
  EXPECT_EQ(process_.TakeError(), "");
}

TEST_F(HostProcessTest, QuestionDoesNotUseUpTheTimeOfTheWait) {
  const LSignalObject signal;
  // The question is on the screen for longer than the wait's own time; the answer leads to the signal, a while later.
  std::unique_ptr<OnLoop> consequence;
  const OnLoop asking(10, [&] {
    const HostProcess::Question question(process_);
    process_.ProcessWaitAndProcessEvents(300);
    consequence = std::make_unique<OnLoop>(50, [&] { signal.Signal(); });
  });
  EXPECT_EQ(process_.ProcessWaitSignal(signal, 200), 0);
}

TEST_F(HostProcessTest, TimeOfAQuestionIsGivenBackOnce) {
  const LSignalObject never;
  {
    const HostProcess::Question earlier(process_);
    process_.ProcessWaitAndProcessEvents(100);
  }
  const OnLoop asking(10, [&] {
    const HostProcess::Question question(process_);
    process_.ProcessWaitAndProcessEvents(300);
  });
  const support::Stopwatch stopwatch;
  EXPECT_EQ(process_.ProcessWaitSignal(never, 200), 2);
  EXPECT_GE(stopwatch.Ms(), 495);
  EXPECT_LT(stopwatch.Ms(), support::kSoonMs);
}

}  // namespace
