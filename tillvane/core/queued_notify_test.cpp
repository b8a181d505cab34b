#include <array>
#include <cstring>
#include <functional>
#include <limits>
#include <new>
#include <optional>
#include <string>
#include <thread>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/dispatch.h>
#include <tests/support/virtual_slots.h>
#include <tillvane/core/LEventQueue.h>
#include <tillvane/core/LQueuedNotify.h>
#include <tillvane/platform/thread_id.h>

namespace {

using support::SlotOf;

TEST(QueuedNotifyTypes, TheVirtualFunctionsStandInTheirOrder) {
  EXPECT_TRUE(std::has_virtual_destructor_v<LThreadQueuedNotify>);
  EXPECT_TRUE(std::is_abstract_v<LThreadQueuedNotify>);
  EXPECT_EQ(SlotOf(&LThreadQueuedNotify::QueuedNotify), 2);
  EXPECT_TRUE(std::has_virtual_destructor_v<LQueuedNotifyDataHandler>);
  EXPECT_TRUE(std::is_abstract_v<LQueuedNotifyDataHandler>);
  EXPECT_EQ(SlotOf(&LQueuedNotifyDataHandler::EvQueuedNotifyData), 2);
  EXPECT_EQ(SlotOf(&LThreadQueuedNotifyData::MainThreadFunction), 2);
  EXPECT_EQ(SlotOf(&LQueuedNotifyDataHandlerData::MainThreadFunction), 2);
}

// --- Without contents ---

class Counter : public LThreadQueuedNotify {
 public:
  explicit Counter(std::function<void()> then = {}) : then_(std::move(then)) {}
  void QueuedNotify() override {
    EXPECT_TRUE(platform::IsMainThread());
    ++count;
    // On the stack: what is called may free this.
    const auto then = then_;
    if (then) then();
  }

  int count = 0;

 private:
  std::function<void()> then_;
};

class QueuedNotify : public support::DispatchTest {};

TEST_F(QueuedNotify, NotifiesOnceForEachPost) {
  Counter counter;
  counter.PostQueueNotify();
  std::thread([&] { counter.PostQueueNotify(); }).join();
  EXPECT_EQ(counter.count, 0);
  LEventQueueDrain();
  EXPECT_EQ(counter.count, 2);
}

TEST_F(QueuedNotify, DestroyWithdrawsAndDrops) {
  Counter counter;
  Counter other;
  counter.PostQueueNotify();
  other.PostQueueNotify();
  counter.ThreadQueuedNotifyDestroy();
  counter.ThreadQueuedNotifyDestroy();
  counter.PostQueueNotify();
  EXPECT_EQ(LEventQueueCount(), 1u);
  LEventQueueDrain();
  EXPECT_EQ(counter.count, 0);
  EXPECT_EQ(other.count, 1);
}

TEST_F(QueuedNotify, MayBeFreedWhileItIsNotified) {
  Counter* counter = nullptr;
  counter = new Counter([&] {
    counter->ThreadQueuedNotifyDestroy();
    delete counter;
  });
  counter->PostQueueNotify();
  counter->PostQueueNotify();
  LEventQueueDrain();
  EXPECT_EQ(LEventQueueCount(), 0u);
}

// --- With a code and bytes ---

struct Notification {
  unsigned int code;
  std::optional<std::string> bytes;
  unsigned long size;

  bool operator==(const Notification&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Notification& one) {
  return out << one.code << ", " << one.bytes.value_or("no data") << ", " << one.size;
}

class Handler : public LQueuedNotifyDataHandler {
 public:
  void EvQueuedNotifyData(unsigned int code, const void* data, unsigned long size) override {
    EXPECT_TRUE(platform::IsMainThread());
    std::optional<std::string> bytes;
    if (data != nullptr) bytes.emplace(static_cast<const char*>(data), size);
    seen.push_back({code, bytes, size});
  }

  std::vector<Notification> seen;
};

class QueuedNotifyData : public support::DispatchTest {};

TEST_F(QueuedNotifyData, BringsTheCodeAndACopyOfTheBytes) {
  Handler handler;
  std::string bytes("with\0zero", 9);
  handler.PostNotifyFromSender(7, bytes.data(), bytes.size());
  bytes.assign(bytes.size(), 'x');
  std::thread([&] {
    std::array<char, 3> gone{'a', 'b', 'c'};
    handler.PostNotifyFromSender(0xFFFFFFFF, gone.data(), gone.size());
    gone.fill('x');
  }).join();
  handler.PostNotifyFromSender(0, "", 0);
  EXPECT_TRUE(handler.seen.empty());
  LEventQueueDrain();
  EXPECT_EQ(handler.seen,
            (std::vector<Notification>{{7, std::string("with\0zero", 9), 9}, {0xFFFFFFFF, "abc", 3}, {0, "", 0}}));
}

TEST_F(QueuedNotifyData, WithoutDataTheSizeIsANumber) {
  constexpr unsigned long most = std::numeric_limits<unsigned long>::max();
  Handler handler;
  for (const unsigned long size : {0ul, 1ul, 99ul, 0xFFFFFFFEul, 0xFFFFFFFFul, most - 1, most}) {
    handler.PostNotifyFromSender(1, nullptr, size);
  }
  LEventQueueDrain();
  std::vector<unsigned long> sizes;
  for (const Notification& one : handler.seen) {
    EXPECT_EQ(one.bytes, std::nullopt);
    sizes.push_back(one.size);
  }
  EXPECT_EQ(sizes, (std::vector<unsigned long>{0, 1, 99, 0xFFFFFFFE, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF}));
}

// Its size could not be told to the receiver: nothing of it is read, and nothing posted.
TEST_F(QueuedNotifyData, MoreBytesThanTheSizeCanTellAreAFailedAllocation) {
  if (sizeof(long) == 4) GTEST_SKIP() << "every size can be told";
  Handler handler;
  const char byte = 'x';
  for (const unsigned long size : {0xFFFFFFFFul + 1, 0xFFFFFFFFul + 2, std::numeric_limits<unsigned long>::max()}) {
    EXPECT_THROW(handler.PostNotifyFromSender(1, &byte, size), std::bad_alloc) << size;
  }
  EXPECT_EQ(LEventQueueCount(), 0u);
  handler.QueuedNotifyDataHandlerDestroy();
  EXPECT_NO_THROW(handler.PostNotifyFromSender(1, &byte, 0xFFFFFFFFul + 1)) << "dropped before it is copied";
}

TEST_F(QueuedNotifyData, DestroyWithdrawsAndDrops) {
  Handler handler;
  Handler other;
  handler.PostNotifyFromSender(1, "a", 1);
  other.PostNotifyFromSender(2, "b", 1);
  handler.QueuedNotifyDataHandlerDestroy();
  handler.QueuedNotifyDataHandlerDestroy();
  handler.PostNotifyFromSender(3, "c", 1);
  EXPECT_EQ(LEventQueueCount(), 1u);
  LEventQueueDrain();
  EXPECT_EQ(handler.seen, std::vector<Notification>{});
  EXPECT_EQ(other.seen, (std::vector<Notification>{{2, "b", 1}}));
}

TEST_F(QueuedNotifyData, TheCopyLastsThroughTheCallEvenIfTheHandlerDoesNot) {
  struct Ending : LQueuedNotifyDataHandler {
    explicit Ending(std::string* into) : into_(into) {}
    void EvQueuedNotifyData(unsigned int, const void* data, unsigned long size) override {
      std::string* const into = into_;
      QueuedNotifyDataHandlerDestroy();
      delete this;
      into->assign(static_cast<const char*>(data), size);
    }
    std::string* into_;
  };
  std::string seen;
  auto* const ending = new Ending(&seen);
  ending->PostNotifyFromSender(1, "bytes", 5);
  ending->PostNotifyFromSender(1, "never", 5);
  LEventQueueDrain();
  EXPECT_EQ(seen, "bytes");
  EXPECT_EQ(LEventQueueCount(), 0u);
}

// By themselves, as the dispatch uses them.
TEST_F(QueuedNotifyData, TheDataMayBeMadeByHand) {
  Handler handler;
  std::string bytes = "abc";
  LQueuedNotifyDataHandlerData data(&handler, 5, bytes.data(), bytes.size());
  bytes = "xyz";
  data.MainThreadFunction();
  EXPECT_EQ(handler.seen, (std::vector<Notification>{{5, "abc", 3}}));
  Counter counter;
  LThreadQueuedNotifyData(&counter).MainThreadFunction();
  EXPECT_EQ(counter.count, 1);
}

}  // namespace
