#include <algorithm>
#include <functional>
#include <limits>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/events.h>
#include <tillvane/platform/event_queue.h>
#include <tillvane/platform/linux/event_linux.h>

namespace {

using platform::CountEvents;
using platform::Event;
using platform::EventKind;
using platform::kHighPriority;
using platform::kLowPriority;
using platform::kStandardPriority;
using platform::PostEvent;
using platform::Received;
using platform::ReceiveEvent;
using platform::ReleaseEvent;
using support::PostTest;
using support::ReceiveKind;
using support::ReceiveKinds;

using Kinds = std::vector<int>;

int KindOf(const Event* event) { return static_cast<int>(EventKind(event)); }

class EventFlushLinux : public support::QueueTest {};

struct Flush {
  /// The predicate's answers, and what it does besides.
  std::function<bool(Event*)> predicate;
  Kinds seen = {};

  unsigned int Run() { return platform::FlushEvents(&Flush::Ask, this); }
  static bool Ask(Event* event, void* data) {
    auto& self = *static_cast<Flush*>(data);
    self.seen.push_back(KindOf(event));
    return self.predicate(event);
  }
};

TEST_F(EventFlushLinux, FlushingRemovesWhatThePredicateNames) {
  const int priorities[] = {1, 0, 2, 1, 2, 0, 1};
  const std::pair<std::function<bool(int)>, Kinds> cases[] = {
      {[](int) { return true; }, {}},
      {[](int) { return false; }, {2, 4, 0, 3, 6, 1, 5}},
      {[](int kind) { return kind % 2 == 0; }, {3, 1, 5}},
      {[](int kind) { return kind % 2 == 1; }, {2, 4, 0, 6}},
      {[](int kind) { return kind == 2 || kind == 6 || kind == 5; }, {4, 0, 3, 1}},
  };
  for (const auto& one : cases) {
    const Kinds& left = one.second;
    SCOPED_TRACE(::testing::PrintToString(left));
    for (int i = 0; i < 7; ++i) PostTest(static_cast<unsigned int>(i), priorities[i]);
    // Some of them sorted, some not yet.
    PostTest(7, kHighPriority);
    EXPECT_EQ(ReceiveKind(), 2);
    PostTest(2, kHighPriority);
    Flush flush{[&](Event* event) { return KindOf(event) == 7 || one.first(KindOf(event)); }};
    EXPECT_EQ(flush.Run(), 8 - left.size());
    EXPECT_EQ(flush.seen.size(), 8u);
    Kinds kinds = ReceiveKinds();
    std::sort(kinds.begin(), kinds.end());
    Kinds expected = left;
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(kinds, expected);
  }
}

TEST_F(EventFlushLinux, FlushingKeepsTheOrderOfTheRest) {
  for (unsigned int i = 0; i < 10; ++i) PostTest(i, static_cast<int>(i % 3));
  Flush flush{[](Event* event) { return KindOf(event) % 4 == 0; }};
  EXPECT_EQ(flush.Run(), 3u);
  EXPECT_EQ(ReceiveKinds(), (Kinds{2, 5, 1, 7, 3, 6, 9}));
}

TEST_F(EventFlushLinux, AnEmptyQueueIsNotAskedAbout) {
  Flush flush{[](Event*) { return true; }};
  EXPECT_EQ(flush.Run(), 0u);
  EXPECT_TRUE(flush.seen.empty());
}

TEST_F(EventFlushLinux, WhatThePredicatePostsIsQueuedAfterwards) {
  for (unsigned int i = 0; i < 3; ++i) PostTest(i);
  Flush flush{[](Event* event) {
    PostTest(static_cast<unsigned int>(KindOf(event)) + 10);
    return true;
  }};
  EXPECT_EQ(flush.Run(), 3u);
  EXPECT_EQ(flush.seen, (Kinds{0, 1, 2}));
  EXPECT_EQ(ReceiveKinds(), (Kinds{10, 11, 12}));
}

// What the predicate does when it is asked about event 2 of five.
TEST_F(EventFlushLinux, ThePredicateMayReceive) {
  struct Case {
    int receives;
    bool removes;
    unsigned int flushed;
    Kinds seen;
    Kinds left;
  };
  for (const Case& one : {Case{0, true, 1, {0, 1, 2, 3, 4}, {0, 1, 3, 4}},  //
                          Case{1, true, 1, {0, 1, 2, 3, 4}, {1, 3, 4}},     // an earlier one
                          Case{2, true, 1, {0, 1, 2, 3, 4}, {3, 4}},        // the earlier ones
                          Case{3, true, 0, {0, 1, 2, 3, 4}, {3, 4}},        // itself too: nothing is left to remove
                          Case{3, false, 0, {0, 1, 2, 3, 4}, {3, 4}},       //
                          Case{4, true, 0, {0, 1, 2, 4}, {4}},              // and the next
                          Case{4, false, 0, {0, 1, 2, 4}, {4}},             //
                          Case{5, true, 0, {0, 1, 2}, {}},                  // all
                          Case{6, false, 0, {0, 1, 2}, {}}}) {
    SCOPED_TRACE(::testing::Message() << one.receives << " received, answers " << one.removes);
    for (unsigned int i = 0; i < 5; ++i) PostTest(i);
    Flush flush{[&](Event* event) {
      if (KindOf(event) != 2) return false;
      for (int i = 0; i < one.receives; ++i) ReceiveKind();
      return one.removes;
    }};
    EXPECT_EQ(flush.Run(), one.flushed);
    EXPECT_EQ(flush.seen, one.seen);
    EXPECT_EQ(ReceiveKinds(), one.left);
    EXPECT_EQ(CountEvents(), 0u);
  }
}

// It is asked about an event, receives it and posts it anew: what it answers concerns the one it was asked about.
TEST_F(EventFlushLinux, ThePredicateMayPostAgainWhatItReceived) {
  for (const bool removes : {false, true}) {
    for (const int priority : {kLowPriority, kStandardPriority, kHighPriority}) {
      SCOPED_TRACE(::testing::Message() << "answers " << removes << ", priority " << priority);
      for (unsigned int i = 0; i < 3; ++i) PostTest(i);
      Flush flush{[&](Event* event) {
        if (KindOf(event) != 0) return false;
        Event* received = nullptr;
        EXPECT_EQ(ReceiveEvent(0, &received), Received::kEvent);
        EXPECT_EQ(received, event);
        EXPECT_TRUE(PostEvent(received, priority));
        ReleaseEvent(received);
        return removes;
      }};
      const unsigned int flushed = flush.Run();
      Kinds kinds = ReceiveKinds();
      EXPECT_EQ(kinds.size(), 3 - flushed);
      std::erase(kinds, 0);
      EXPECT_EQ(kinds, (Kinds{1, 2}));
      EXPECT_EQ(CountEvents(), 0u);
    }
  }
}

// So may another thread, to which it hands the event.
TEST_F(EventFlushLinux, AnotherThreadMayPostAgainWhatThePredicateReceived) {
  for (const bool removes : {false, true}) {
    for (const int priority : {kLowPriority, kStandardPriority, kHighPriority}) {
      SCOPED_TRACE(::testing::Message() << "answers " << removes << ", priority " << priority);
      for (unsigned int i = 0; i < 3; ++i) PostTest(i);
      Flush flush{[&](Event* event) {
        if (KindOf(event) != 0) return false;
        Event* received = nullptr;
        EXPECT_EQ(ReceiveEvent(0, &received), Received::kEvent);
        std::thread([&] { EXPECT_TRUE(platform::PostAndReleaseEvent(received, priority)); }).join();
        return removes;
      }};
      const unsigned int flushed = flush.Run();
      Kinds kinds = ReceiveKinds();
      EXPECT_EQ(kinds.size(), 3 - flushed);
      std::erase(kinds, 0);
      EXPECT_EQ(kinds, (Kinds{1, 2}));
      EXPECT_EQ(CountEvents(), 0u);
    }
  }
}

TEST_F(EventFlushLinux, WhatOtherThreadsPostedIsFlushedToo) {
  PostTest(0);
  std::thread([] {
    for (unsigned int i = 1; i < 7; ++i) PostTest(i, static_cast<int>(i % 3));
  }).join();
  Flush flush{[](Event* event) { return KindOf(event) % 2 == 1; }};
  EXPECT_EQ(flush.Run(), 3u);
  EXPECT_EQ(flush.seen, (Kinds{3, 6, 0, 1, 4, 2, 5}));
  EXPECT_EQ(ReceiveKinds(), (Kinds{2, 0, 4, 6}));
}

// It flushes others, itself or all when it is asked about event 2 of five.
TEST_F(EventFlushLinux, ThePredicateMayFlush) {
  for (const Kinds& inner : {Kinds{}, Kinds{0}, Kinds{1}, Kinds{2}, Kinds{3}, Kinds{4}, Kinds{0, 1}, Kinds{3, 4},
                             Kinds{1, 2, 3}, Kinds{0, 1, 2, 3, 4}}) {
    for (const bool removes : {false, true}) {
      SCOPED_TRACE(::testing::Message() << ::testing::PrintToString(inner) << ", answers " << removes);
      for (unsigned int i = 0; i < 5; ++i) PostTest(i);
      const auto is_inner = [&](int kind) { return std::find(inner.begin(), inner.end(), kind) != inner.end(); };
      Flush nested{[&](Event* event) { return is_inner(KindOf(event)); }};
      Flush flush{[&](Event* event) {
        if (KindOf(event) != 2) return false;
        EXPECT_EQ(nested.Run(), inner.size());
        return removes;
      }};
      EXPECT_EQ(flush.Run(), removes && !is_inner(2) ? 1u : 0u);
      Kinds asked_about;
      for (int kind = 0; kind < 5; ++kind) {
        if (kind <= 2 || !is_inner(kind)) asked_about.push_back(kind);
      }
      EXPECT_EQ(flush.seen, asked_about) << "once about each that the inner one has left";
      Kinds left;
      for (int kind = 0; kind < 5; ++kind) {
        if (!is_inner(kind) && !(kind == 2 && removes)) left.push_back(kind);
      }
      EXPECT_EQ(ReceiveKinds(), left);
      EXPECT_EQ(CountEvents(), 0u);
    }
  }
}

// Three flushes inside of each other, each of which is to remove a third of the events.
TEST_F(EventFlushLinux, FlushesInsideOfFlushesLoseNothing) {
  for (const int priority : {kLowPriority, kStandardPriority, kHighPriority}) {
    for (unsigned int i = 0; i < 12; ++i) PostTest(i, i % 2 == 0 ? kStandardPriority : priority);
    Flush innermost{[](Event* event) { return KindOf(event) % 3 == 2; }};
    Flush inner{[&](Event* event) {
      if (KindOf(event) == 4) innermost.Run();
      return KindOf(event) % 3 == 1;
    }};
    Flush outer{[&](Event* event) {
      if (KindOf(event) == 3) inner.Run();
      return KindOf(event) % 3 == 0;
    }};
    EXPECT_EQ(outer.Run(), 4u);
    EXPECT_EQ(ReceiveKinds(), Kinds{});
    EXPECT_EQ(CountEvents(), 0u);
  }
}

TEST_F(EventFlushLinux, WhatAnInnerFlushLeavesIsNotAskedAboutAgain) {
  for (unsigned int i = 0; i < 4; ++i) PostTest(i);
  Flush inner{[](Event*) { return false; }};
  Flush outer{[&](Event* event) {
    // The last one is asked about by the inner flush too: it was there when that began.
    if (KindOf(event) == 1) PostTest(4);
    inner.Run();
    return false;
  }};
  EXPECT_EQ(outer.Run(), 0u);
  EXPECT_EQ(outer.seen, (Kinds{0, 1, 2, 3}));
  EXPECT_EQ(inner.seen, (Kinds{0, 1, 2, 3, 0, 1, 2, 3, 4, 0, 1, 2, 3, 4, 0, 1, 2, 3, 4}));
}

// A flush at a time, the counter needs days to come round: here it does so at once.
TEST(EventFlushPass, TheOrderOutlastsTheEndOfTheCounter) {
  constexpr unsigned int last = std::numeric_limits<unsigned int>::max();
  for (const unsigned int flush : {0u, 1u, 2u, 1000u, 0x7FFFFFFFu, 0x80000000u, 0x80000001u, last - 1, last}) {
    SCOPED_TRACE(flush);
    EXPECT_TRUE(platform::IsBeforeFlush(flush - 1, flush));
    EXPECT_TRUE(platform::IsBeforeFlush(flush - 1000000, flush));
    EXPECT_FALSE(platform::IsBeforeFlush(flush, flush));
    EXPECT_FALSE(platform::IsBeforeFlush(flush + 1, flush)) << "a flush within this one";
    EXPECT_FALSE(platform::IsBeforeFlush(flush + 1000000, flush));
  }
}

}  // namespace
