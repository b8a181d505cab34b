#include <tillvane/diag/thread_registry.h>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <functional>
#include <latch>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <tests/support/threads.h>
#include <tests/support/waiting.h>
#include <tillvane/core/mutex_guard.h>
#include <tillvane/platform/thread_id.h>

namespace {

using core::MutexGuard;
using support::FunctionThread;
using support::kOrdinaryPriority;

unsigned int Count() {
  const MutexGuard guard(loDebugThreads);
  return gnDebugThreads;
}

unsigned int IdAt(unsigned int index) {
  const MutexGuard guard(loDebugThreads);
  return diag::Shared(gDebugThreadData[index].id).load();
}

/// The calling thread's record; null when it has none.
const LDebugThreadData* OwnRecord() {
  const unsigned int index = diag::FindRecord(platform::CurrentThreadId());
  return index != diag::kNoRecord ? &gDebugThreadData[index] : nullptr;
}

/// The three digits that belong to the calling thread.
std::string Digits() {
  char name[8];
  LDebugFormatThreadName(name, "", platform::CurrentThreadId());
  return name;
}

/// A registered thread that does nothing, until it is told to end.
class Registered {
 public:
  explicit Registered(const char* tag = "Idle")
      : thread_([this, tag] {
          LDebugThreadDataStartThread(tag);
          const LDebugThreadData* const record = OwnRecord();
          index_ = record != nullptr ? static_cast<unsigned int>(record - gDebugThreadData) : diag::kNoRecord;
          begun_.count_down();
          ended_.wait();
          LDebugThreadDataStopThread();
        }) {
    begun_.wait();
  }
  ~Registered() {
    ended_.count_down();
    thread_.join();
  }
  Registered(const Registered&) = delete;
  Registered& operator=(const Registered&) = delete;

  unsigned int Index() const { return index_; }

 private:
  unsigned int index_ = 0;
  std::latch begun_{1}, ended_{1};
  std::thread thread_;
};

class ThreadRegistry : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(Count(), 0U) << "somebody else's thread is registered"; }

  /// Starts so many threads, each in the next record.
  void StartThreads(unsigned int count) {
    while (threads_.size() < count) {
      threads_.push_back(std::make_unique<Registered>());
      ASSERT_EQ(threads_.back()->Index(), threads_.size() - 1);
    }
    ASSERT_EQ(Count(), count);
  }

  std::vector<std::unique_ptr<Registered>> threads_;
};

// --- Claiming and freeing ---

TEST_F(ThreadRegistry, KnowsTheThreadThatLoadedTheLibrary) {
  EXPECT_EQ(gdwMainThreadId, platform::CurrentThreadId());
  EXPECT_EQ(gwDebugCurrentCommand, 1U);
  EXPECT_EQ(gwDebugLastCommand, 0U);
}

TEST_F(ThreadRegistry, ClaimsARecordAndFreesIt) {
  LDebugThreadDataStartThread("Worker");
  ASSERT_EQ(Count(), 1U);
  EXPECT_EQ(gDebugThreadData[0].id, platform::CurrentThreadId());
  EXPECT_EQ(gDebugThreadData[0].name, "Work" + Digits());
  EXPECT_STREQ(gDebugThreadData[0].dialog, "");
  LDebugThreadDataStopThread();
  EXPECT_EQ(Count(), 0U);
  EXPECT_EQ(gDebugThreadData[0].id, diag::kFree);
  LDebugThreadDataStopThread();
  EXPECT_EQ(Count(), 0U);
}

TEST_F(ThreadRegistry, ARecordThatWasUsedBeforeIsFilledAnew) {
  LDebugThreadDataStartThread("Worker");
  LDebugThreadSetLastDialog("Open");
  LDebugThreadDataStopThread();
  LDebugThreadDataStartThread(nullptr);
  char name[8];
  LDebugFormatThreadName(name, nullptr, platform::CurrentThreadId());
  EXPECT_STREQ(gDebugThreadData[0].name, name);
  EXPECT_STREQ(gDebugThreadData[0].dialog, "");
  LDebugThreadDataStopThread();
}

TEST_F(ThreadRegistry, AThreadThatRegistersTwiceStopsTwice) {
  LDebugThreadDataStartThread("Main");
  LDebugThreadDataStartThread("More");
  EXPECT_EQ(Count(), 2U);
  EXPECT_EQ(OwnRecord(), &gDebugThreadData[0]);
  LDebugThreadDataStopThread();
  EXPECT_EQ(Count(), 2U);
  EXPECT_EQ(OwnRecord(), &gDebugThreadData[1]);
  LDebugThreadDataStopThread();
  EXPECT_EQ(Count(), 0U);
}

TEST_F(ThreadRegistry, AHoleIsUsedAgainAndTheCountShrinksPastHolesAtTheEnd) {
  StartThreads(5);
  threads_[1].reset();
  threads_[3].reset();
  EXPECT_EQ(Count(), 5U);
  EXPECT_EQ(IdAt(1), diag::kFree);
  // The first of two holes.
  threads_[1] = std::make_unique<Registered>();
  EXPECT_EQ(threads_[1]->Index(), 1U);
  EXPECT_EQ(Count(), 5U);
  threads_[1].reset();
  threads_[2].reset();
  EXPECT_EQ(Count(), 5U);
  threads_[4].reset();
  EXPECT_EQ(Count(), 1U);
  threads_[0].reset();
  EXPECT_EQ(Count(), 0U);
}

TEST_F(ThreadRegistry, ARecordBeingClaimedIsNeitherUsedNorDropped) {
  StartThreads(2);
  {
    const MutexGuard guard(loDebugThreads);
    gDebugThreadData[2].id = diag::kClaimed;
    gnDebugThreads = 3;
  }
  threads_[1].reset();
  EXPECT_EQ(Count(), 3U);
  const Registered hole;
  EXPECT_EQ(hole.Index(), 1U);
  {
    const Registered next;
    EXPECT_EQ(next.Index(), 3U);
  }
  EXPECT_EQ(Count(), 3U);
  const MutexGuard guard(loDebugThreads);
  gDebugThreadData[2].id = diag::kFree;
}

TEST_F(ThreadRegistry, TheSixtyFifthThreadIsNotRegistered) {
  StartThreads(64);
  std::thread([] {
    LDebugThreadDataStartThread("Late");
    EXPECT_EQ(OwnRecord(), nullptr);
    LDebugThreadSetName("Later");
    LDebugThreadSetLastDialog("Open");
    { const LBugReportBlockScope scope("Scope"); }
    char line[260];
    LDebugGenerateXIString(line, "", "");
    EXPECT_NE(std::strstr(line, "--Unknown"), nullptr) << line;
    LDebugThreadDataStopThread();
  }).join();
  EXPECT_EQ(Count(), 64U);
  for (unsigned int i = 0; i < 64; ++i) {
    EXPECT_EQ(std::strncmp(gDebugThreadData[i].name, "Idle", 4), 0) << i;
    EXPECT_STREQ(gDebugThreadData[i].dialog, "") << i;
  }
  // There is room again.
  threads_[40].reset();
  const Registered last;
  EXPECT_EQ(last.Index(), 40U);
}

TEST_F(ThreadRegistry, ItsLockIsRecursive) {
  const MutexGuard outer(loDebugThreads), inner(loDebugThreads);
  LDebugThreadDataStartThread("Main");
  EXPECT_EQ(gnDebugThreads, 1U);
  char line[260];
  LDebugGenerateXIString(line, "", "");
  LDebugThreadDataStopThread();
}

TEST_F(ThreadRegistry, OfAForkedProcessHasTheThreadThatForked) {
  StartThreads(2);
  LDebugThreadDataStartThread("Main");
  LDebugThreadStatusSet("forking");
  const Registered last;
  const pid_t child = fork();
  if (child == 0) {
    const LDebugThreadData* const own = OwnRecord();
    const bool is_kept = own == &gDebugThreadData[2] && gnDebugThreads == 3 && gDebugThreadData[0].id == diag::kFree &&
                         gDebugThreadData[1].id == diag::kFree && std::strncmp(own->name, "Main", 4) == 0 &&
                         gdwMainThreadId == platform::CurrentThreadId();
    char line[260];
    LDebugGenerateXIString(line, "", "");
    const bool has_status = std::strstr(line, "forking") != nullptr;
    // The lock is a new one.
    LDebugThreadDataStopThread();
    _exit((is_kept ? 0 : 1) + (has_status ? 0 : 2) + (gnDebugThreads == 0 ? 0 : 4));
  }
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(Count(), 4U);
  LDebugThreadStatusClear();
  LDebugThreadDataStopThread();
}

// --- The toolkit's own threads ---

TEST_F(ThreadRegistry, AThreadOfTheToolkitIsRegisteredWhileItRuns) {
  std::string name, expected;
  FunctionThread thread([&](LThread& self) {
    char text[8];
    LDebugFormatThreadName(text, nullptr, platform::CurrentThreadId());
    expected = text;
    if (OwnRecord() != nullptr) name = OwnRecord()->name;
    support::SleepUntilStopped(self);
  });
  for (int i = 0; i < 3; ++i) {
    thread.Start(kOrdinaryPriority);
    // Before Start() returns.
    EXPECT_EQ(Count(), 1U);
    thread.StopThreadAndWait();
    EXPECT_EQ(Count(), 0U);
    EXPECT_EQ(name, expected);
    EXPECT_EQ(name.size(), 4U);
  }
}

TEST_F(ThreadRegistry, IsLeftBeforeTheEndedSignal) {
  for (int i = 0; i < 100; ++i) {
    FunctionThread thread([](LThread&) {});
    thread.Start(kOrdinaryPriority);
    EXPECT_TRUE(thread.EndedSignal().WaitSignal(support::kLongMs));
    EXPECT_EQ(Count(), 0U);
  }
}

TEST_F(ThreadRegistry, IsLeftByAThreadThatCallsPthreadExit) {
  FunctionThread thread([](LThread&) { pthread_exit(nullptr); });
  thread.Start(kOrdinaryPriority);
  thread.JoinThread();
  EXPECT_EQ(Count(), 0U);
}

TEST_F(ThreadRegistry, ADetachedThreadIsRegisteredToo) {
  std::atomic<int> alive{0};
  LDetachedThreadsOwner owner;
  auto* const thread = new support::DetachedFunction(alive, support::SleepUntilStopped);
  owner.Add(thread);
  ASSERT_EQ(thread->StartDetached(owner, kOrdinaryPriority), 0);
  EXPECT_EQ(Count(), 1U);
  owner.StopThreadsNow();
  EXPECT_EQ(Count(), 0U);
}

}  // namespace
