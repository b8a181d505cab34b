#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/events.h>
#include <tillvane/platform/event_queue.h>

namespace {

using platform::DispatchEvent;
using platform::Event;
using platform::EventHandler;
using platform::InstallEventHandler;
using platform::RemoveEventHandler;
using support::kTestClass;

/// Handlers with names; a handler that is called appends its name to the log.
class EventHandlersLinux : public support::QueueTest {
 protected:
  struct Named {
    EventHandlersLinux* test;
    std::string name;
    bool handles;
    std::function<void()> then;
    EventHandler* handler = nullptr;
  };

  ~EventHandlersLinux() override {
    for (const auto& one : named_) {
      if (one->handler != nullptr) RemoveEventHandler(one->handler);
    }
  }

  Named* Install(const std::string& name, bool handles = false, std::function<void()> then = {},
                 unsigned int cls = kTestClass, unsigned int kind = 1) {
    named_.push_back(std::make_unique<Named>(Named{this, name, handles, std::move(then)}));
    Named* one = named_.back().get();
    one->handler = InstallEventHandler(cls, kind, &EventHandlersLinux::Call, one);
    return one;
  }

  static void Remove(Named* one) {
    RemoveEventHandler(one->handler);
    one->handler = nullptr;
  }

  bool Dispatch(unsigned int cls = kTestClass, unsigned int kind = 1) {
    Event* event = platform::CreateEvent(cls, kind);
    const bool handled = DispatchEvent(event);
    platform::ReleaseEvent(event);
    return handled;
  }

  std::string TakeLog() { return std::exchange(log_, ""); }

 private:
  static bool Call(Event*, void* data) {
    const Named& one = *static_cast<Named*>(data);
    one.test->log_ += one.name;
    if (one.then) one.then();
    return one.handles;
  }

  std::vector<std::unique_ptr<Named>> named_;
  std::string log_;
};

TEST_F(EventHandlersLinux, TheLastInstalledIsAskedFirst) {
  Install("a");
  Install("b");
  Install("c");
  EXPECT_FALSE(Dispatch());
  EXPECT_EQ(TakeLog(), "cba");
}

TEST_F(EventHandlersLinux, WhoHandlesAnEventIsTheLastToSeeIt) {
  Install("a", true);
  Named* b = Install("b", true);
  Install("c", false);
  EXPECT_TRUE(Dispatch());
  EXPECT_EQ(TakeLog(), "cb");
  Remove(b);
  EXPECT_TRUE(Dispatch());
  EXPECT_EQ(TakeLog(), "ca");
}

TEST_F(EventHandlersLinux, ClassAndKindMustBothFit) {
  Install("a", true, {}, 5, 6);
  struct Case {
    unsigned int cls, kind;
    bool expected;
  };
  for (const auto& [cls, kind, expected] :
       {Case{5, 6, true}, Case{6, 5, false}, Case{5, 5, false}, Case{6, 6, false}}) {
    EXPECT_EQ(Dispatch(cls, kind), expected) << cls << ", " << kind;
    EXPECT_EQ(TakeLog(), expected ? "a" : "") << cls << ", " << kind;
  }
}

TEST_F(EventHandlersLinux, AHandlerGetsTheEventAndItsData) {
  struct Seen {
    Event* event = nullptr;
  } seen;
  EventHandler* handler = InstallEventHandler(
      kTestClass, 1,
      [](Event* event, void* data) {
        static_cast<Seen*>(data)->event = event;
        return true;
      },
      &seen);
  Event* event = platform::CreateEvent(kTestClass, 1);
  EXPECT_TRUE(DispatchEvent(event));
  EXPECT_EQ(seen.event, event);
  platform::ReleaseEvent(event);
  RemoveEventHandler(handler);
}

TEST_F(EventHandlersLinux, OneThatAHandlerInstallsSeesTheNextEvent) {
  bool installed = false;
  Install("a", false, [&] {
    if (!std::exchange(installed, true)) {
      for (int i = 0; i < 100; ++i) Install("n");
    }
  });
  Dispatch();
  EXPECT_EQ(TakeLog(), "a");
  Dispatch();
  EXPECT_EQ(TakeLog(), std::string(100, 'n') + "a");
}

TEST_F(EventHandlersLinux, AHandlerMayRemoveItself) {
  Install("a");
  Named* b = nullptr;
  b = Install("b", false, [&] { Remove(b); });
  Install("c");
  Dispatch();
  EXPECT_EQ(TakeLog(), "cba");
  Dispatch();
  EXPECT_EQ(TakeLog(), "ca");
}

TEST_F(EventHandlersLinux, AHandlerMayRemoveOthers) {
  Named* a = Install("a");
  Named* c = nullptr;
  Named* b = Install("b", false, [&] {
    if (c != nullptr && c->handler != nullptr) {
      Remove(a);
      Remove(c);
    }
  });
  c = Install("c");
  Dispatch();
  EXPECT_EQ(TakeLog(), "cb");
  Dispatch();
  EXPECT_EQ(TakeLog(), "b");
  Remove(b);
  EXPECT_FALSE(Dispatch());
  EXPECT_EQ(TakeLog(), "");
}

// The outer dispatch still walks the list when the inner one has ended.
TEST_F(EventHandlersLinux, DispatchesNest) {
  int depth = 0;
  Install("a");
  Named* b = nullptr;
  b = Install("b", false, [&] {
    if (++depth < 3) {
      Dispatch();
      if (b->handler != nullptr) Remove(b);
      Dispatch();
    }
  });
  Install("c");
  Dispatch();
  // c, b (c, b (c, b, a; c, a), a; c, a), a
  EXPECT_EQ(TakeLog(), "cbcbcbacaacaa");
  Dispatch();
  EXPECT_EQ(TakeLog(), "ca");
}

}  // namespace
