#pragma once

#include <functional>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <tillvane/core/LEventQueue.h>
#include <tillvane/core/event_codes.h>
#include <tillvane/platform/event_queue.h>

/// \file
/// The main thread's events, for tests.

namespace support {

/// A class that nothing but tests uses.
inline constexpr unsigned int kTestClass = core::FourCharacterCode("Test");

/// Notes the events of one class and kind that are dispatched while it lives, in their order.
class Recorder {
 public:
  using Then = std::function<void(platform::Event* event)>;

  /// \param then what the handler does besides
  Recorder(unsigned int cls, unsigned int kind, Then then = {}) : then_(std::move(then)) {
    handler_ = platform::InstallEventHandler(cls, kind, &Recorder::OnEvent, this);
  }
  explicit Recorder(unsigned int kind, Then then = {}) : Recorder(kTestClass, kind, std::move(then)) {}
  ~Recorder() { platform::RemoveEventHandler(handler_); }
  Recorder(const Recorder&) = delete;
  Recorder& operator=(const Recorder&) = delete;

  int Count() const { return count_; }

 private:
  static bool OnEvent(platform::Event* event, void* data) {
    auto& self = *static_cast<Recorder*>(data);
    ++self.count_;
    if (self.then_) self.then_(event);
    return true;
  }

  Then then_;
  platform::EventHandler* handler_;
  int count_ = 0;
};

/// Posts an event of the tests' class.
inline void PostTest(unsigned int kind, int priority = platform::kStandardPriority) {
  ASSERT_TRUE(LEventQueuePost(kTestClass, kind, priority));
}

/// Receives without waiting. \return the event's kind, -1 when there was none
inline int ReceiveKind() {
  platform::Event* event = nullptr;
  if (platform::ReceiveEvent(0, &event) != platform::Received::kEvent) return -1;
  const auto kind = static_cast<int>(platform::EventKind(event));
  platform::ReleaseEvent(event);
  return kind;
}

/// Receives all that is queued. \return the kinds
inline std::vector<int> ReceiveKinds() {
  std::vector<int> kinds;
  for (int kind = ReceiveKind(); kind >= 0; kind = ReceiveKind()) kinds.push_back(kind);
  return kinds;
}

inline void EmptyQueue() {
  platform::FlushEvents([](platform::Event*, void*) { return true; }, nullptr);
}

/// Tests that find the queue empty and leave it so: a wake-up may stay behind after a wait.
class QueueTest : public testing::Test {
 protected:
  QueueTest() { EmptyQueue(); }
  ~QueueTest() override { EmptyQueue(); }
};

}  // namespace support
