// Sixteen threads that post while their sender is destroyed, again and again; with TILLVANE_TEST_LONG in the
// environment a hundred times as often.

#include <array>
#include <atomic>
#include <barrier>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/dispatch.h>
#include <tests/support/threads.h>
#include <tests/support/waiting.h>
#include <tillvane/core/LEventQueue.h>
#include <tillvane/core/LProcessEventsHandler.h>
#include <tillvane/core/LQueuedNotify.h>
#include <tillvane/core/LThreadNotifyInterface.h>
#include <tillvane/core/LThreadRunOnMainThread.h>

namespace {

using support::Rounds;

constexpr int kThreads = 16;
/// So many times each of them posts in a round.
constexpr int kEach = 250;

constexpr int kRounds = 100;

/// When the main thread acts: after so many events, another number in each round, from none to most of them.
int ActsAfter(int round) { return round * 389 % (kThreads * kEach); }

/// Threads that begin at the same moment and call a function with their number and that of the call.
class Posters {
 public:
  explicit Posters(const std::function<void(int thread, int call)>& post) {
    for (int thread = 0; thread < kThreads; ++thread) {
      threads_.emplace_back([this, post, thread] {
        start_.arrive_and_wait();
        for (int call = 0; call < kEach; ++call) post(thread, call);
      });
    }
    start_.arrive_and_wait();
  }
  ~Posters() {
    for (std::thread& thread : threads_) thread.join();
  }
  Posters(const Posters&) = delete;
  Posters& operator=(const Posters&) = delete;

 private:
  std::barrier<> start_{kThreads + 1};
  std::vector<std::thread> threads_;
};

/// Dispatches in one way or another until so many were dispatched.
void DispatchUntil(const int& dispatched, int count) {
  while (dispatched < count) {
    LEventQueueDrain();
    if (dispatched % 2 == 0) ProcessWaitAndProcessEvents(1);
  }
}

/// Work whose end is noted: each has a place that is null once it is freed.
class Job : public LThreadRunOnMainThreadData {
 public:
  struct Round {
    int ran = 0;
    std::atomic<int> freed{0};
    bool destroyed = false;
    std::array<std::array<std::atomic<Job*>, kEach>, kThreads> made{};
  };

  Job(Round& round, std::atomic<Job*>& place) : round_(round), place_(place) { place_ = this; }
  ~Job() override {
    place_ = nullptr;
    ++round_.freed;
  }
  Job(const Job&) = delete;
  Job& operator=(const Job&) = delete;
  void MainThreadFunction() override {
    EXPECT_FALSE(round_.destroyed);
    ++round_.ran;
  }

 private:
  Round& round_;
  std::atomic<Job*>& place_;
};

/// Once a sender drops a thread's work it drops all that the thread posts later: the last ones are still there.
/// \return how many were dropped
int FreeDropped(std::array<std::atomic<Job*>, kEach>& made) {
  int dropped = 0;
  for (const auto& place : made) {
    const Job* const left = place;
    EXPECT_TRUE(left != nullptr || dropped == 0) << "posted after one that was dropped";
    if (left != nullptr) ++dropped;
    delete left;
  }
  return dropped;
}

class MainThreadDispatchStress : public support::DispatchTest {};

TEST_F(MainThreadDispatchStress, NothingRunsAfterItsSenderWasDestroyed) {
  long long ran = 0;
  long long dropped = 0;
  for (int number = 0; number < Rounds(kRounds); ++number) {
    SCOPED_TRACE(number);
    const auto round = std::make_unique<Job::Round>();
    LThreadRunOnMainThread sender;
    {
      const Posters posters([&](int thread, int call) {
        auto& place = round->made[static_cast<std::size_t>(thread)][static_cast<std::size_t>(call)];
        sender.RunOnMainThread(new Job(*round, place));
      });
      DispatchUntil(round->ran, ActsAfter(number));
      sender.ThreadRunOnMainThreadDestroy();
      round->destroyed = true;
      EXPECT_EQ(sender.GetRefCount(), 0);
      EXPECT_EQ(LEventQueueCount(), 0u);
      LEventQueueDrain();
    }
    EXPECT_EQ(LEventQueueCount(), 0u);
    EXPECT_EQ(sender.GetRefCount(), 0);
    ran += round->ran;
    for (auto& made : round->made) dropped += FreeDropped(made);
    EXPECT_EQ(round->freed, kThreads * kEach) << "each freed, and once";
  }
  EXPECT_GT(ran, 0);
  EXPECT_GT(dropped, 0);
}

/// Checks that the bytes are those that were posted with the code.
class Checking : public LQueuedNotifyDataHandler {
 public:
  static std::string BytesOf(unsigned int code) { return std::string(code % 300, static_cast<char>('a' + code % 26)); }

  void EvQueuedNotifyData(unsigned int code, const void* data, unsigned long size) override {
    EXPECT_FALSE(destroyed);
    EXPECT_EQ(std::string(static_cast<const char*>(data), size), BytesOf(code));
    ++seen;
  }

  bool destroyed = false;
  int seen = 0;
};

// AddressSanitizer sees whether each is freed, and once.
TEST_F(MainThreadDispatchStress, NoNotificationArrivesAfterItsHandlerWasDestroyed) {
  for (int number = 0; number < Rounds(kRounds); ++number) {
    SCOPED_TRACE(number);
    Checking handler;
    Checking other;
    {
      const Posters posters([&](int thread, int call) {
        const auto code = static_cast<unsigned int>(thread * kEach + call);
        const std::string bytes = Checking::BytesOf(code);
        (thread % 2 == 0 ? handler : other).PostNotifyFromSender(code, bytes.data(), bytes.size());
      });
      DispatchUntil(handler.seen, ActsAfter(number) / 2);
      handler.QueuedNotifyDataHandlerDestroy();
      handler.destroyed = true;
    }
    LEventQueueDrain();
    EXPECT_EQ(other.seen, kThreads / 2 * kEach) << "none of the other one's was withdrawn";
    EXPECT_EQ(LEventQueueCount(), 0u);
  }
}

// The work comes among that of all threads; what was posted before it has run, what comes after it is withdrawn.
TEST_F(MainThreadDispatchStress, ASenderMayBeFreedByItsLastWork) {
  for (int number = 0; number < Rounds(kRounds); ++number) {
    SCOPED_TRACE(number);
    auto* const sender = new LThreadRunOnMainThread;
    int ran = 0;
    {
      const Posters posters([&](int, int) { sender->RunOnMainThread(new support::Work([&] { ++ran; })); });
      DispatchUntil(ran, ActsAfter(number));
    }
    const int left = sender->GetRefCount();
    EXPECT_EQ(ran + left, kThreads * kEach);
    sender->RunOnMainThread(new support::Work([&] {
      sender->ThreadRunOnMainThreadDestroy();
      delete sender;
    }));
    sender->RunOnMainThread(new support::Work([&] { ++ran; }));
    LEventQueueDrain();
    EXPECT_EQ(ran, kThreads * kEach);
    EXPECT_EQ(LEventQueueCount(), 0u);
    EXPECT_EQ(support::Work::alive, 0);
  }
}

// ThreadSanitizer sees whether such a thread stays away from what the main thread notes about work that runs.
TEST_F(MainThreadDispatchStress, ASenderMayBeFreedByAnotherThreadWhileWorkOfOthersRuns) {
  LThreadRunOnMainThread busy;
  int ran = 0;
  int posted = 0;
  for (int number = 0; number < Rounds(kRounds); ++number) {
    std::vector<std::unique_ptr<LThreadRunOnMainThread>> senders(kThreads);
    for (auto& sender : senders) {
      sender = std::make_unique<LThreadRunOnMainThread>();
      sender->RunOnMainThread(new support::Work([&] { --ran; }));
      sender->ThreadRunOnMainThreadDestroy();
    }
    std::atomic<bool> freed{false};
    std::thread freeing([&] {
      senders.clear();
      freed = true;
    });
    do {
      busy.RunOnMainThread(new support::Work([&] {
        LProcessClearCurrentEvents();
        ++ran;
      }));
      busy.RunOnMainThread(new support::Work([&] { ++ran; }));
      posted += 2;
      LEventQueueDrain();
    } while (!freed);
    freeing.join();
  }
  EXPECT_EQ(ran, posted);
  EXPECT_EQ(busy.GetRefCount(), 0);
}

/// Reports until it is stopped.
class Reporter : public LThreadNotifyInterface {
 public:
  Reporter(LProcessInterface* target, bool stops_first) : LThreadNotifyInterface(target), stops_first_(stops_first) {}
  ~Reporter() override {
    if (stops_first_) StopThreadAndWait();
    QueuedNotifyDataHandlerDestroy();
    StopThreadAndWait();
  }
  Reporter(const Reporter&) = delete;
  Reporter& operator=(const Reporter&) = delete;
  void ThreadFunction() override {
    for (int report = 0; !IsToStop(); ++report) {
      SetStatus("status", report % 2);
      SetProgress(0.5);
      SetError("error");
      // The queue is to have some of them, and not the whole memory.
      if (LEventQueueCount() > 1000) ProcessWait(1);
    }
  }

 private:
  const bool stops_first_;
};

class CountingTarget : public LProcessInterfaceVoid {
 public:
  void SetError(const char* text) override { Note(text, "error"); }
  void SetStatus(const char* text, int) override { Note(text, "status"); }
  void SetProgress(double) override { Note("", ""); }

  bool gone = false;
  int seen = 0;

 private:
  void Note(const char* text, const char* expected) {
    EXPECT_FALSE(gone);
    EXPECT_STREQ(text, expected);
    ++seen;
  }
};

// Its thread is stopped before or after its reports are withdrawn.
TEST_F(MainThreadDispatchStress, AThreadMayBeDestroyedWhileItReports) {
  for (int number = 0; number < Rounds(kRounds); ++number) {
    SCOPED_TRACE(number);
    CountingTarget target;
    auto reporter = std::make_unique<Reporter>(&target, number % 2 == 0);
    reporter->Start(support::kOrdinaryPriority);
    DispatchUntil(target.seen, ActsAfter(number) / 20);
    ASSERT_TRUE(support::WaitUntil([] { return LEventQueueCount() > 0; }));
    reporter.reset();
    target.gone = true;
    EXPECT_EQ(LEventQueueCount(), 0u);
    EXPECT_FALSE(LEventQueueDrain());
  }
}

}  // namespace
