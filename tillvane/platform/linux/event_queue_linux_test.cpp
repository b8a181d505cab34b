#include <algorithm>
#include <array>
#include <atomic>
#include <climits>
#include <deque>
#include <map>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/events.h>
#include <tests/support/seeded.h>
#include <tests/support/waiting.h>
#include <tillvane/platform/event_queue.h>

namespace {

using platform::CountEvents;
using platform::CreateEvent;
using platform::Event;
using platform::EventKind;
using platform::kHighPriority;
using platform::kLowPriority;
using platform::kStandardPriority;
using platform::PostEvent;
using platform::Received;
using platform::ReceiveEvent;
using platform::ReleaseEvent;
using platform::RetainEvent;
using support::kTestClass;
using support::PostTest;
using support::ReceiveKind;
using support::ReceiveKinds;

using Kinds = std::vector<int>;

int KindOf(const Event* event) { return static_cast<int>(EventKind(event)); }

/// An event and a reference to it.
class OwnEvent {
 public:
  explicit OwnEvent(unsigned int kind) : event_(CreateEvent(kTestClass, kind)) {}
  ~OwnEvent() { ReleaseEvent(event_); }
  OwnEvent(const OwnEvent&) = delete;
  OwnEvent& operator=(const OwnEvent&) = delete;
  operator Event*() const { return event_; }

 private:
  Event* event_;
};

// --- Posting and receiving ---

class EventQueueLinux : public support::QueueTest {};

TEST_F(EventQueueLinux, TheQueueKeepsAReferenceOfItsOwn) {
  Event* event = CreateEvent(kTestClass, 7);
  const unsigned int number = 4711;
  EXPECT_TRUE(platform::SetEventParameter(event, 1, 1, sizeof number, &number));
  EXPECT_TRUE(PostEvent(event, kStandardPriority));
  ReleaseEvent(event);
  Event* received = nullptr;
  ASSERT_EQ(ReceiveEvent(0, &received), Received::kEvent);
  EXPECT_EQ(received, event);
  unsigned int found = 0;
  EXPECT_TRUE(platform::GetEventParameter(received, 1, 1, sizeof found, &found));
  EXPECT_EQ(found, number);
  ReleaseEvent(received);
}

TEST_F(EventQueueLinux, NothingReceivedIsNull) {
  const OwnEvent event(1);
  Event* received = event;
  EXPECT_EQ(ReceiveEvent(0, &received), Received::kNothing);
  EXPECT_EQ(received, nullptr);
}

TEST_F(EventQueueLinux, AnEventThatWasRefusedIsAsBefore) {
  const OwnEvent event(1);
  for (const int priority : {-1, 3, INT_MIN, INT_MAX}) EXPECT_FALSE(PostEvent(event, priority)) << priority;
  EXPECT_EQ(CountEvents(), 0u);
  EXPECT_TRUE(PostEvent(event, kLowPriority));
  EXPECT_EQ(ReceiveKinds(), Kinds{1});
}

TEST_F(EventQueueLinux, PostingAndReleasingGivesTheReferenceAway) {
  EXPECT_FALSE(platform::PostAndReleaseEvent(CreateEvent(kTestClass, 1), 3));
  Event* event = CreateEvent(kTestClass, 2);
  RetainEvent(event);
  EXPECT_FALSE(platform::PostAndReleaseEvent(event, -1));
  EXPECT_EQ(KindOf(event), 2);
  EXPECT_TRUE(platform::PostAndReleaseEvent(event, kStandardPriority));
  EXPECT_EQ(ReceiveKinds(), Kinds{2});
}

// Freed events are used again: nothing of the old one may show.
TEST_F(EventQueueLinux, AnEventThatIsMadeAnewIsEmpty) {
  const std::string large(100, 'x');
  for (int i = 0; i < 500; ++i) {
    Event* event = CreateEvent(kTestClass, 1);
    unsigned int value = 0;
    for (unsigned int name = 1; name <= 4; ++name) {
      ASSERT_FALSE(platform::GetEventParameter(event, name, 1, sizeof value, &value)) << "event " << i;
      ASSERT_TRUE(platform::SetEventParameter(event, name, 1, sizeof name, &name));
    }
    std::string found(100, ' ');
    ASSERT_FALSE(platform::GetEventParameter(event, 5, 1, found.size(), found.data())) << "event " << i;
    ASSERT_TRUE(platform::SetEventParameter(event, 5, 1, large.size(), large.data()));
    ASSERT_TRUE(platform::PostAndReleaseEvent(event, i % 3));
    ASSERT_EQ(ReceiveKind(), 1);
  }
}

// Events that one thread makes and another frees, in every amount, and threads that end in between.
TEST_F(EventQueueLinux, EventsTravelBetweenThreadsForAnyTime) {
  for (const unsigned int count : {1u, 63u, 64u, 65u, 127u, 128u, 129u, 1000u, 20000u}) {
    std::vector<Event*> events(count);
    std::thread([&] {
      for (Event*& event : events) event = CreateEvent(kTestClass, 7);
    }).join();
    std::thread([&] {
      for (std::size_t i = 0; i < events.size(); i += 2) ReleaseEvent(events[i]);
    }).join();
    for (std::size_t i = 1; i < events.size(); i += 2) {
      ASSERT_EQ(KindOf(events[i]), 7) << "of " << count;
      ReleaseEvent(events[i]);
    }
  }
}

TEST_F(EventQueueLinux, AnEventIsQueuedOnceAtATime) {
  const OwnEvent event(1);
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(PostEvent(event, i));
    EXPECT_FALSE(PostEvent(event, kHighPriority));
    EXPECT_EQ(CountEvents(), 1u);
    EXPECT_EQ(ReceiveKinds(), Kinds{1});
  }
}

// Whether the main thread posts, or another one, and whatever is sorted already.
TEST_F(EventQueueLinux, HigherPrioritiesGoFirstWhoeverPosts) {
  const auto post = [](unsigned int kind, int priority, bool on_thread) {
    on_thread ? std::thread([=] { PostTest(kind, priority); }).join() : PostTest(kind, priority);
  };
  for (unsigned int threads = 0; threads < 64; ++threads) {
    SCOPED_TRACE(threads);
    const auto on_thread = [&](unsigned int i) { return (threads >> i & 1) != 0; };
    post(1, kLowPriority, on_thread(0));
    post(2, kStandardPriority, on_thread(1));
    post(3, kStandardPriority, on_thread(2));
    EXPECT_EQ(ReceiveKind(), 2);
    post(4, kHighPriority, on_thread(3));
    post(5, kStandardPriority, on_thread(4));
    post(6, kHighPriority, on_thread(5));
    EXPECT_EQ(CountEvents(), 5u);
    EXPECT_EQ(ReceiveKinds(), (Kinds{4, 6, 3, 5, 1}));
  }
}

TEST_F(EventQueueLinux, ReceivingWaitsForAnEvent) {
  const support::Stopwatch watch;
  Event* event = nullptr;
  EXPECT_EQ(ReceiveEvent(0.05, &event), Received::kNothing);
  EXPECT_GE(watch.Ms(), 50);
  const support::Later later(30, [] { PostTest(1); });
  EXPECT_EQ(ReceiveEvent(support::kLongMs * 0.001, &event), Received::kEvent);
  EXPECT_LT(watch.Ms(), support::kSoonMs);
  ReleaseEvent(event);
}

TEST_F(EventQueueLinux, ReceivingWithoutTimeOrWithLessDoesNotWait) {
  const support::Stopwatch watch;
  for (const double seconds : {0.0, -1.0, -1e300}) {
    Event* event = nullptr;
    EXPECT_EQ(ReceiveEvent(seconds, &event), Received::kNothing) << seconds;
    PostTest(1);
    EXPECT_EQ(ReceiveEvent(seconds, &event), Received::kEvent) << seconds;
    ReleaseEvent(event);
  }
  EXPECT_LT(watch.Ms(), support::kAtOnceMs);
}

TEST_F(EventQueueLinux, AnotherThreadWaitsAndReceivesNothing) {
  PostTest(1);
  Received received = Received::kEvent;
  Event* event = nullptr;
  const support::Stopwatch watch;
  std::thread([&] { received = ReceiveEvent(0.05, &event); }).join();
  EXPECT_GE(watch.Ms(), 50);
  EXPECT_EQ(received, Received::kNothing);
  EXPECT_EQ(event, nullptr);
  EXPECT_EQ(CountEvents(), 1u);
}

TEST_F(EventQueueLinux, EachThreadsPostsKeepTheirOrder) {
  constexpr unsigned int kThreads = 4;
  constexpr unsigned int kEach = 2000;
  std::vector<std::thread> posters;
  for (unsigned int i = 0; i < kThreads; ++i) {
    posters.emplace_back([i] {
      for (unsigned int k = 0; k < kEach; ++k) PostTest(i * kEach + k, static_cast<int>(k % 3));
    });
  }
  // By thread and priority, the last one seen.
  std::map<std::pair<unsigned int, unsigned int>, unsigned int> last;
  unsigned int received = 0;
  const support::Stopwatch watch;
  while (received < kThreads * kEach && watch.Ms() < support::kLongMs) {
    Event* event = nullptr;
    if (ReceiveEvent(0.1, &event) != Received::kEvent) continue;
    ++received;
    const unsigned int k = EventKind(event) % kEach;
    unsigned int& seen = last[{EventKind(event) / kEach, k % 3}];
    EXPECT_TRUE(k < 3 || seen + 3 == k) << seen << " before " << k;
    seen = k;
    ReleaseEvent(event);
  }
  for (auto& poster : posters) poster.join();
  EXPECT_EQ(received, kThreads * kEach);
  EXPECT_EQ(CountEvents(), 0u);
}

TEST_F(EventQueueLinux, TheCountIsNeverMoreThanWasPosted) {
  constexpr unsigned int kEvents = 20000;
  std::atomic<bool> end{false};
  unsigned int most = 0;
  std::thread counter([&] {
    while (!end) most = std::max(most, CountEvents());
  });
  std::thread poster([] {
    for (unsigned int i = 0; i < kEvents; ++i) PostTest(1);
  });
  unsigned int received = 0;
  const support::Stopwatch watch;
  while (received < kEvents && watch.Ms() < support::kLongMs) received += ReceiveKind() >= 0 ? 1 : 0;
  poster.join();
  end = true;
  counter.join();
  EXPECT_EQ(received, kEvents);
  EXPECT_LE(most, kEvents);
}

// --- At random ---

/// The queue as it is described, for comparison.
struct Model {
  std::array<std::deque<int>, 3> lists;

  int Receive() {
    for (std::size_t priority = 3; priority-- > 0;) {
      if (lists[priority].empty()) continue;
      const int kind = lists[priority].front();
      lists[priority].pop_front();
      return kind;
    }
    return -1;
  }
  unsigned int Flush(int divisor) {
    unsigned int flushed = 0;
    for (auto& list : lists)
      flushed += static_cast<unsigned int>(std::erase_if(list, [&](int k) { return k % divisor == 0; }));
    return flushed;
  }
};

TEST_F(EventQueueLinux, BehavesAsDescribedForAnySequence) {
  support::Seeded seeded(20240607);
  Model model;
  std::size_t queued = 0;
  for (int step = 0; step < 20000; ++step) {
    const unsigned int choice = seeded.Below(100);
    if (choice < 55) {
      const unsigned int priority = seeded.Below(3);
      PostTest(static_cast<unsigned int>(step), static_cast<int>(priority));
      model.lists[priority].push_back(step);
      ++queued;
    } else if (choice < 98) {
      const int expected = model.Receive();
      ASSERT_EQ(ReceiveKind(), expected) << "step " << step;
      if (expected >= 0) --queued;
    } else {
      int divisor = 2 + static_cast<int>(seeded.Below(5));
      const auto is_multiple = [](Event* event, void* data) { return KindOf(event) % *static_cast<int*>(data) == 0; };
      const unsigned int expected = model.Flush(divisor);
      ASSERT_EQ(platform::FlushEvents(is_multiple, &divisor), expected) << "step " << step;
      queued -= expected;
    }
    ASSERT_EQ(CountEvents(), queued) << "step " << step;
  }
}

}  // namespace
