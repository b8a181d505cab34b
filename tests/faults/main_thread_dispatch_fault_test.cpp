// Memory that runs out, and a sender that is destroyed, in the middle of a post to the main thread. The definitions
// here take the place of the C++ and the C library's for everything that is linked into this program.

#include <pthread.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/dispatch.h>
#include <tests/support/faults.h>
#include <tests/support/next_definition.h>
#include <tests/support/threads.h>
#include <tests/support/waiting.h>
#include <tillvane/core/LEventQueue.h>
#include <tillvane/core/LQueuedNotify.h>
#include <tillvane/core/LSignalObject.h>
#include <tillvane/core/LThreadRunOnMainThread.h>
#include <tillvane/platform/event_queue.h>

namespace {

constexpr long kNever = -1;

/// So many allocations of the calling thread still succeed, then this happens once: one fails, or a function is called.
thread_local long until_then = kNever;
thread_local std::function<void()>* then = nullptr;

/// Called once, with the mutex, when this thread has locked one.
thread_local std::function<void(pthread_mutex_t&)>* locked = nullptr;

/// Do this thread's mutexes get no attributes?
thread_local bool attributes_fail = false;

/// That are in use; events, which a pool keeps, are the only ones with an alignment of their own and not among them.
std::atomic<long> blocks{0};
std::atomic<long> events_made{0};

void* Allocate(std::size_t size, std::size_t alignment) {
  if (until_then != kNever && until_then-- == 0) {
    if (then == nullptr) {
      support::NoteFault("new", ENOMEM);
      return nullptr;
    }
    (*std::exchange(then, nullptr))();
  }
  return std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
}

void* Counted(void* memory) {
  if (memory != nullptr) ++blocks;
  return memory;
}

void* OrThrow(void* memory) {
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

void Free(void* memory) {
  if (memory != nullptr) --blocks;
  std::free(memory);
}

constexpr std::size_t kUsual = alignof(std::max_align_t);

}  // namespace

void* operator new(std::size_t size) { return OrThrow(Counted(Allocate(size, kUsual))); }
void* operator new[](std::size_t size) { return OrThrow(Counted(Allocate(size, kUsual))); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return Counted(Allocate(size, kUsual)); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return Counted(Allocate(size, kUsual)); }
void* operator new(std::size_t size, std::align_val_t to) {
  return OrThrow(Allocate(size, static_cast<std::size_t>(to)));
}
void* operator new(std::size_t size, std::align_val_t to, const std::nothrow_t&) noexcept {
  ++events_made;
  return Allocate(size, static_cast<std::size_t>(to));
}
void operator delete(void* memory) noexcept { Free(memory); }
void operator delete[](void* memory) noexcept { Free(memory); }
void operator delete(void* memory, std::size_t) noexcept { Free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { Free(memory); }
void operator delete(void* memory, std::align_val_t) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept { std::free(memory); }

extern "C" int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
  static const auto next = support::Next(&pthread_mutex_lock, "pthread_mutex_lock");
  const int result = next(mutex);
  if (locked != nullptr) (*std::exchange(locked, nullptr))(*mutex);
  return result;
}

extern "C" int pthread_mutexattr_init(pthread_mutexattr_t* attributes) noexcept {
  static const auto next = support::Next(&pthread_mutexattr_init, "pthread_mutexattr_init");
  if (!attributes_fail) return next(attributes);
  support::NoteFault("pthread_mutexattr_init", ENOMEM);
  return ENOMEM;
}

namespace {

using support::Work;

/// Posts on a thread of its own, which has no freed event at hand, and lets one allocation after the other fail until
/// the post succeeds. After each failure everything is as before.
/// \return how many allocations a post needs
int FailEachAllocation(const std::function<void()>& post) {
  int failures = 0;
  for (bool posted = false; !posted; failures += posted ? 0 : 1) {
    SCOPED_TRACE(::testing::Message() << "allocation " << failures);
    std::thread([&] {
      const long before = blocks;
      until_then = failures;
      try {
        post();
        posted = true;
      } catch (const std::bad_alloc&) {
      }
      until_then = kNever;
      if (posted) return;
      EXPECT_EQ(blocks, before) << "what was made for it is freed";
      EXPECT_EQ(LEventQueueCount(), 0u);
    }).join();
    if (failures == 100) {
      ADD_FAILURE() << "it never succeeds";
      break;
    }
  }
  EXPECT_EQ(LEventQueueCount(), 1u);
  return failures;
}

class MainThreadDispatchFault : public support::DispatchTest {};

TEST_F(MainThreadDispatchFault, WithoutAnEventTheDataStaysTheCallers) {
  LThreadRunOnMainThread sender;
  auto work = std::make_unique<Work>([&] { log_.emplace_back("run"); });
  const int needed = FailEachAllocation([&] {
    EXPECT_EQ(sender.GetRefCount(), 0);
    sender.RunOnMainThread(work.get());
  });
  EXPECT_EQ(needed, 1) << "the event";
  EXPECT_EQ(Work::alive, 1);
  static_cast<void>(work.release());
  EXPECT_EQ(sender.GetRefCount(), 1);
  LEventQueueDrain();
  EXPECT_EQ(log_, Log{"run"});
  EXPECT_EQ(sender.GetRefCount(), 0);
}

class Receiver : public LQueuedNotifyDataHandler {
 public:
  void EvQueuedNotifyData(unsigned int, const void* data, unsigned long size) override {
    received += data != nullptr ? std::string(static_cast<const char*>(data), size) : "nothing";
  }
  std::string received;
};

class Notified : public LThreadQueuedNotify {
 public:
  void QueuedNotify() override { ++count; }
  int count = 0;
};

TEST_F(MainThreadDispatchFault, ANotificationIsPostedWholeOrNotAtAll) {
  Receiver receiver;
  EXPECT_EQ(FailEachAllocation([&] { receiver.PostNotifyFromSender(1, "bytes", 5); }), 3)
      << "the data, the copy, the event";
  LEventQueueDrain();
  EXPECT_EQ(receiver.received, "bytes");
  EXPECT_EQ(FailEachAllocation([&] { receiver.PostNotifyFromSender(1, nullptr, 5); }), 2) << "the data, the event";
  LEventQueueDrain();
  EXPECT_EQ(receiver.received, "bytesnothing");
  Notified notified;
  EXPECT_EQ(FailEachAllocation([&] { notified.PostQueueNotify(); }), 2) << "the data, the event";
  LEventQueueDrain();
  EXPECT_EQ(notified.count, 1);
}

TEST_F(MainThreadDispatchFault, ADestroyedSenderDropsBeforeItAsksForMemory) {
  Receiver receiver;
  Notified notified;
  LThreadRunOnMainThread sender;
  receiver.QueuedNotifyDataHandlerDestroy();
  notified.ThreadQueuedNotifyDestroy();
  sender.ThreadRunOnMainThreadDestroy();
  const auto work = std::make_unique<Work>();
  until_then = 0;
  EXPECT_NO_THROW(receiver.PostNotifyFromSender(1, "bytes", 5));
  EXPECT_NO_THROW(notified.PostQueueNotify());
  EXPECT_NO_THROW(sender.RunOnMainThread(work.get()));
  until_then = kNever;
}

/// As long as this lives, the next event has to be allocated.
class EmptyPool {
 public:
  EmptyPool() {
    const long before = events_made;
    while (events_made == before) taken_.push_back(platform::CreateEvent(1, 1));
  }
  ~EmptyPool() {
    for (platform::Event* event : taken_) platform::ReleaseEvent(event);
  }
  EmptyPool(const EmptyPool&) = delete;
  EmptyPool& operator=(const EmptyPool&) = delete;

 private:
  std::vector<platform::Event*> taken_;
};

// Wherever the post is when the sender is destroyed: while it asks for the data, the copy or the event.
TEST_F(MainThreadDispatchFault, ANotificationThatIsOvertakenIsDroppedAndFreed) {
  const EmptyPool pool;
  for (long allocation = 0; allocation < 3; ++allocation) {
    SCOPED_TRACE(allocation);
    Receiver receiver;
    std::function<void()> destroy = [&] { receiver.QueuedNotifyDataHandlerDestroy(); };
    const long before = blocks;
    then = &destroy;
    until_then = allocation;
    receiver.PostNotifyFromSender(1, "bytes", 5);
    until_then = kNever;
    EXPECT_EQ(then, nullptr) << "so many allocations were made";
    EXPECT_EQ(blocks, before);
    EXPECT_EQ(LEventQueueCount(), 0u);
  }
}

TEST_F(MainThreadDispatchFault, WorkThatIsOvertakenIsDroppedAndStaysTheCallers) {
  const EmptyPool pool;
  LThreadRunOnMainThread sender;
  std::function<void()> destroy = [&] { sender.ThreadRunOnMainThreadDestroy(); };
  const auto work = std::make_unique<Work>();
  then = &destroy;
  until_then = 0;
  sender.RunOnMainThread(work.get());
  until_then = kNever;
  EXPECT_EQ(then, nullptr);
  EXPECT_EQ(Work::alive, 1);
  EXPECT_EQ(sender.GetRefCount(), 0);
  EXPECT_EQ(LEventQueueCount(), 0u);
}

// A post that is between its look and the queue: destroying waits for it, and withdraws what it posted.
TEST_F(MainThreadDispatchFault, DestroyingWaitsForThePostThatIsUnderWay) {
  LThreadRunOnMainThread sender;
  const LSignalObject begun;
  std::atomic<bool> posted{false};
  std::function<void(pthread_mutex_t&)> take_time = [&](pthread_mutex_t&) {
    begun.Signal();
    support::SleepMs(100);
    posted = true;
  };
  std::thread poster([&] {
    locked = &take_time;
    sender.RunOnMainThread(new Work([&] { log_.emplace_back("run"); }));
  });
  EXPECT_TRUE(begun.WaitSignal(support::kLongMs));
  sender.ThreadRunOnMainThreadDestroy();
  EXPECT_TRUE(posted);
  poster.join();
  LEventQueueDrain();
  EXPECT_EQ(log_, Log{});
  EXPECT_EQ(Work::alive, 0);
  EXPECT_EQ(sender.GetRefCount(), 0);
}

// The count may be asked for by whoever holds it still.
TEST_F(MainThreadDispatchFault, TheCountLockMayBeTakenAgain) {
  LThreadRunOnMainThread sender;
  int count = 0;
  std::function<void(pthread_mutex_t&)> again = [&](pthread_mutex_t& mutex) {
    ASSERT_EQ(pthread_mutex_trylock(&mutex), 0);
    count = sender.GetRefCount();
    pthread_mutex_unlock(&mutex);
  };
  sender.IncRefCount();
  locked = &again;
  sender.IncRefCount();
  EXPECT_EQ(locked, nullptr) << "it was locked";
  EXPECT_EQ(count, 1);
  EXPECT_EQ(sender.GetRefCount(), 2);
}

// A mutex that nobody has initialised looks like what was in the memory.
TEST_F(MainThreadDispatchFault, WithoutAttributesTheCountLockIsStillALock) {
  alignas(LThreadRunOnMainThread) std::array<unsigned char, sizeof(LThreadRunOnMainThread)> memory;
  memory.fill(0xFF);
  attributes_fail = true;
  auto* const sender = new (memory.data()) LThreadRunOnMainThread;
  attributes_fail = false;
  int trylock = 0;
  std::function<void(pthread_mutex_t&)> try_lock = [&](pthread_mutex_t& mutex) {
    std::thread([&] { trylock = pthread_mutex_trylock(&mutex); }).join();
  };
  locked = &try_lock;
  sender->IncRefCount();
  EXPECT_EQ(trylock, EBUSY);
  EXPECT_EQ(sender->GetRefCount(), 1);
  std::destroy_at(sender);
}

// Where a host polls the descriptor each of these posts raises it, by a system call at which threads usually end.
TEST_F(MainThreadDispatchFault, AThreadThatIsToEndPostsWholeBeforeItDoes) {
  LEventQueueDescriptor();
  LThreadRunOnMainThread sender;
  ASSERT_TRUE(support::PassesWhileCancelled([&] { sender.RunOnMainThread(Logging("run")); }));
  EXPECT_EQ(sender.GetRefCount(), 1);
  LEventQueueDrain();
  EXPECT_EQ(log_, Log{"run"});
  EXPECT_EQ(sender.GetRefCount(), 0);
  Receiver receiver;
  ASSERT_TRUE(support::PassesWhileCancelled([&] { receiver.PostNotifyFromSender(1, "bytes", 5); }));
  LEventQueueDrain();
  EXPECT_EQ(receiver.received, "bytes");
}

// What is withdrawn, dropped or run is freed to the last byte.
TEST_F(MainThreadDispatchFault, NoNotificationIsLost) {
  const long before = blocks;
  {
    Receiver receiver;
    Notified notified;
    for (int i = 0; i < 10; ++i) {
      receiver.PostNotifyFromSender(1, "x", 1);
      notified.PostQueueNotify();
      if (i == 4) LEventQueueDrain();
    }
    receiver.QueuedNotifyDataHandlerDestroy();
    notified.ThreadQueuedNotifyDestroy();
    receiver.PostNotifyFromSender(1, "x", 1);
    notified.PostQueueNotify();
    EXPECT_EQ(receiver.received, "xxxxx");
    EXPECT_EQ(notified.count, 5);
  }
  EXPECT_EQ(blocks, before);
}

}  // namespace
