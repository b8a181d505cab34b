#include <cstddef>
#include <cstring>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/background.h>
#include <tests/support/dispatch.h>
#include <tests/support/virtual_slots.h>
#include <tests/support/waiting.h>
#include <tillvane/core/LEventQueue.h>
#include <tillvane/core/LProcessEventsHandler.h>
#include <tillvane/core/LThreadNotifyInterface.h>
#include <tillvane/platform/thread_id.h>

namespace {

using support::SlotOf;
using Log = std::vector<std::string>;

/// A host's side: notes what is reported, and where.
class Target : public LProcessInterfaceVoid {
 public:
  void SetError(const char* text) override { Note("error " + std::string(text)); }
  void SetStatus(const char* text, int which) override { Note("status " + std::to_string(which) + " " + text); }
  void SetProgress(double fraction) override {
    fractions.push_back(fraction);
    Note("progress");
  }
  void SetProgressIndeterminateOn() override { Note("on"); }
  void SetProgressIndeterminateOff() override { Note("off"); }

  Log log;
  std::vector<double> fractions;
  std::function<void()> then;

 private:
  void Note(const std::string& what) {
    EXPECT_TRUE(platform::IsMainThread());
    log.push_back(what);
    if (then) then();
  }
};

/// A thread that does what it is told.
class Worker : public LThreadNotifyInterface {
 public:
  explicit Worker(LProcessInterface* target, std::function<void(Worker&)> work = {})
      : LThreadNotifyInterface(target), work_(std::move(work)) {}
  ~Worker() override {
    StopThreadAndWait();
    QueuedNotifyDataHandlerDestroy();
  }
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;
  void ThreadFunction() override { work_(*this); }

 private:
  std::function<void(Worker&)> work_;
};

class ThreadNotifyInterface : public support::DispatchTest {
 protected:
  /// What has arrived since the last look.
  Log Arrived() {
    LEventQueueDrain();
    return std::exchange(target_.log, {});
  }

  Target target_;
};

TEST(ThreadNotifyInterfaceTypes, TheVirtualFunctionsStandInTheirOrder) {
  using Notify = LThreadNotifyInterface;
  EXPECT_EQ(SlotOf(&Notify::SetError), 4);
  EXPECT_EQ(SlotOf(&Notify::SetStatus), 5);
  EXPECT_EQ(SlotOf(&Notify::SetProgress), 6);
  EXPECT_EQ(SlotOf(&Notify::SetProgressIndeterminateOn), 7);
  EXPECT_EQ(SlotOf(&Notify::SetProgressIndeterminateOff), 8);
  EXPECT_EQ(SlotOf(&Notify::ThreadFunction), 11);
}

TEST(ThreadNotifyInterfaceTypes, TheHandlerStandsBehindTheThread) {
  Worker worker(nullptr);
  const auto* const handler = static_cast<LQueuedNotifyDataHandler*>(&worker);
  EXPECT_EQ(reinterpret_cast<const char*>(handler) - reinterpret_cast<const char*>(&worker),
            static_cast<std::ptrdiff_t>(sizeof(LThread)));
}

// --- The five reports ---

TEST_F(ThreadNotifyInterface, AThreadsReportsArriveOnTheMainThreadInTheirOrder) {
  Worker worker(&target_, [](Worker& self) {
    EXPECT_FALSE(platform::IsMainThread());
    self.SetStatus("copying", 0);
    self.SetStatus("file 1", 1);
    self.SetProgress(0.25);
    self.SetProgressIndeterminateOn();
    self.SetProgressIndeterminateOff();
    self.SetErrorF("error %d", 7);
    self.SetProgress(1);
  });
  worker.Start(31);
  const support::Stopwatch watch;
  while (target_.log.size() < 7 && watch.Ms() < support::kSoonMs) ProcessWaitAndProcessEvents(5);
  EXPECT_EQ(target_.log,
            (Log{"status 0 copying", "status 1 file 1", "progress", "on", "off", "error error 7", "progress"}));
  EXPECT_EQ(target_.fractions, (std::vector<double>{0.25, 1}));
}

TEST_F(ThreadNotifyInterface, TheTextOfAnErrorIsCopiedWhole) {
  const std::vector<std::size_t> lengths{0, 1, 259, 260, 100000};
  Worker worker(&target_);
  for (const std::size_t length : lengths) {
    std::string text(length, 'e');
    worker.SetError(text.c_str());
    text.assign(length, 'x');
  }
  const Log arrived = Arrived();
  Log expected;
  for (const std::size_t length : lengths) expected.push_back("error " + std::string(length, 'e'));
  EXPECT_EQ(arrived, expected);
}

// --- Status ---

TEST_F(ThreadNotifyInterface, QuickStatusTextsShowTheNewestAsOftenAsThereWereReports) {
  Worker worker(&target_);
  worker.SetStatus("first", 0);
  worker.SetStatus("other", 1);
  worker.SetStatus("second", 0);
  EXPECT_EQ(Arrived(), (Log{"status 0 second", "status 1 other", "status 0 second"}));
  worker.SetStatus("third", 1);
  EXPECT_EQ(Arrived(), Log{"status 1 third"});
}

TEST_F(ThreadNotifyInterface, ThereAreTwoStatusTexts) {
  Worker worker(&target_);
  worker.SetStatus("kept", 0);
  worker.SetStatus("kept", 1);
  for (const int which : {2, 3, -1, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
    worker.SetStatus("text", which);
    EXPECT_EQ(LEventQueueCount(), 2u) << which;
  }
  EXPECT_EQ(Arrived(), (Log{"status 0 kept", "status 1 kept"}));
}

TEST_F(ThreadNotifyInterface, StatusTextsAreCutAt259Bytes) {
  Worker worker(&target_);
  // The other text stands behind: it would show what ran over.
  worker.SetStatus("untouched", 1);
  EXPECT_EQ(Arrived(), Log{"status 1 untouched"});
  for (const std::size_t length : {0u, 1u, 258u, 259u, 260u, 261u, 5000u}) {
    std::string text(length, 'a');
    for (std::size_t i = 0; i < length; ++i) text[i] = static_cast<char>('a' + i % 26);
    worker.SetStatus(text.c_str(), 0);
    EXPECT_EQ(Arrived(), Log{"status 0 " + text.substr(0, 259)}) << length;
  }
  worker.EvQueuedNotifyData(2, nullptr, 0);
  EXPECT_EQ(target_.log, Log{"status 1 untouched"});
  Arrived();
  worker.SetStatus(std::string(5000, 'z').c_str(), 1);
  EXPECT_EQ(Arrived(), Log{"status 1 " + std::string(259, 'z')});
}

/// So many bytes, which tell their number.
std::string TextOf(std::size_t length) { return std::string(length, static_cast<char>('a' + length % 26)); }

TEST_F(ThreadNotifyInterface, AStatusTextIsNeverTorn) {
  constexpr int reports = 3000;
  Worker worker(&target_, [&](Worker& self) {
    for (int i = 0; i < reports; ++i) self.SetStatus(TextOf(static_cast<std::size_t>(i % 250 + 1)).c_str(), i % 2);
  });
  int arrived = 0;
  target_.then = [&] {
    ++arrived;
    const std::string text = std::exchange(target_.log, {}).back().substr(std::strlen("status 0 "));
    EXPECT_EQ(text, TextOf(text.size()));
  };
  worker.Start(31);
  const support::Stopwatch watch;
  while (arrived < reports && watch.Ms() < support::kLongMs) ProcessWaitAndProcessEvents(1);
  EXPECT_EQ(arrived, reports);
}

// While a text is shown, the lock on it is free: others report meanwhile, and the target may wait for them.
TEST_F(ThreadNotifyInterface, ATargetMayWaitForAnotherStatus) {
  Worker worker(&target_);
  std::optional<support::Background> other;
  target_.then = [&] {
    if (other) return;
    other.emplace([&] { worker.SetStatus("another", 0); });
    EXPECT_TRUE(other->Ends());
  };
  worker.SetStatus("one", 0);
  EXPECT_EQ(Arrived(), Log{"status 0 one"});
  EXPECT_EQ(Arrived(), Log{"status 0 another"});
}

// --- Progress ---

TEST_F(ThreadNotifyInterface, ProgressArrivesInWholeHundredths) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  constexpr double nan = std::numeric_limits<double>::quiet_NaN();
  const std::pair<double, double> cases[] = {
      {0, 0},
      {0.0099, 0},
      {0.01, 0.01},
      // What a double makes of 29: a little less.
      {0.29, 0.28},
      {0.5, 0.5},
      {0.999, 0.99},
      {1, 1},
      {1.5, 1.5},
      {-0.0, 0},
      {-0.001, 0},
      {-1, 0},
      {-1e300, 0},
      {nan, 0},
      {-nan, 0},
      {-infinity, 0},
      {1e-320, 0},
      {42949672.95, 42949672.95},
      {42949672.96, 42949672.95},
      {1e300, 42949672.95},
      {infinity, 42949672.95},
  };
  Worker worker(&target_);
  for (const auto& [fraction, expected] : cases) {
    worker.SetProgress(fraction);
    Arrived();
    ASSERT_EQ(target_.fractions.size(), 1u);
    EXPECT_NEAR(target_.fractions[0], expected, 1e-8) << "for " << fraction;
    target_.fractions.clear();
  }
}

// --- What is no report ---

TEST_F(ThreadNotifyInterface, NullTextsAreNoReports) {
  Worker worker(&target_);
  worker.SetError(nullptr);
  worker.SetStatus(nullptr, 0);
  worker.SetStatus(nullptr, 1);
  EXPECT_EQ(LEventQueueCount(), 0u);
}

void ReportAll(LProcessInterface& process) {
  process.SetError("error");
  process.SetStatus("status", 0);
  process.SetStatus("status", 1);
  process.SetProgress(0.5);
  process.SetProgressIndeterminateOn();
  process.SetProgressIndeterminateOff();
}

TEST_F(ThreadNotifyInterface, WithoutATargetReportsEndOnTheMainThread) {
  Worker worker(nullptr);
  ReportAll(worker);
  EXPECT_EQ(LEventQueueCount(), 6u);
  EXPECT_TRUE(LEventQueueDrain());
}

TEST_F(ThreadNotifyInterface, OtherCodesAreIgnored) {
  Worker worker(&target_);
  for (const unsigned int code : {6u, 7u, 100u, 0x80000000u, 0xFFFFFFFFu}) {
    worker.PostNotifyFromSender(code, "text", 5);
    worker.EvQueuedNotifyData(code, "text", 5);
  }
  EXPECT_EQ(Arrived(), Log{});
}

TEST_F(ThreadNotifyInterface, AnErrorWithoutItsTextOrItsEndIsIgnored) {
  Worker worker(&target_);
  worker.PostNotifyFromSender(0, nullptr, 5);
  worker.PostNotifyFromSender(0, "text", 4);
  worker.PostNotifyFromSender(0, "text", 0);
  EXPECT_EQ(Arrived(), Log{});
  worker.PostNotifyFromSender(0, "text", 5);
  EXPECT_EQ(Arrived(), Log{"error text"});
}

// --- Senders ---

class Handler : public LQueuedNotifyDataHandler {
 public:
  void EvQueuedNotifyData(unsigned int code, const void* data, unsigned long size) override {
    codes.push_back(code);
    sizes.push_back(size);
    EXPECT_EQ(data != nullptr, code == 0);
  }
  std::vector<unsigned int> codes;
  std::vector<unsigned long> sizes;
};

TEST_F(ThreadNotifyInterface, WithoutASenderReportsAreDropped) {
  Worker worker(&target_);
  worker.SetStatus("before", 0);
  worker.SetNotifySender(nullptr);
  ReportAll(worker);
  EXPECT_EQ(LEventQueueCount(), 1u);
  EXPECT_EQ(Arrived(), Log{"status 0 before"}) << "nor is the text kept";
  worker.SetNotifySender(&worker);
  worker.SetStatus("after", 0);
  EXPECT_EQ(Arrived(), Log{"status 0 after"});
}

TEST_F(ThreadNotifyInterface, AnotherSenderGetsTheCodes) {
  Worker worker(&target_);
  Handler handler;
  worker.SetNotifySender(&handler);
  ReportAll(worker);
  EXPECT_EQ(Arrived(), Log{});
  EXPECT_EQ(handler.codes, (std::vector<unsigned int>{0, 1, 2, 3, 4, 5}));
  EXPECT_EQ(handler.sizes, (std::vector<unsigned long>{6, 0, 0, 50, 0, 0}));
}

TEST_F(ThreadNotifyInterface, AfterItsDestructionReportsAreDropped) {
  Worker worker(&target_);
  ReportAll(worker);
  worker.QueuedNotifyDataHandlerDestroy();
  ReportAll(worker);
  EXPECT_EQ(LEventQueueCount(), 0u);
  EXPECT_EQ(Arrived(), Log{});
}

TEST_F(ThreadNotifyInterface, MayBeFreedWithinEachReport) {
  for (unsigned int code = 0; code < 6; ++code) {
    SCOPED_TRACE(code);
    auto* const worker = new Worker(&target_);
    target_.then = [=] { delete worker; };
    worker->PostNotifyFromSender(code, "", 1);
    worker->PostNotifyFromSender(code, "", 1);
    EXPECT_EQ(Arrived().size(), 1u);
    EXPECT_EQ(LEventQueueCount(), 0u);
  }
}

}  // namespace
