#include <array>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/events.h>
#include <tillvane/platform/event_queue.h>

namespace {

using platform::CreateEvent;
using platform::Event;
using platform::EventKind;
using platform::GetEventParameter;
using platform::ReleaseEvent;
using platform::RetainEvent;
using platform::SetEventParameter;
using support::kTestClass;

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

std::string Bytes(std::size_t size, char first) {
  std::string bytes(size, ' ');
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(first + static_cast<char>(i % 26));
  return bytes;
}

bool Set(Event* event, unsigned int name, unsigned int type, const std::string& bytes) {
  return SetEventParameter(event, name, type, bytes.size(), bytes.data());
}

/// The parameter, read into a buffer that ends where it should; "none" without one.
std::string Get(const Event* event, unsigned int name, unsigned int type, std::size_t size) {
  std::string bytes(size, '#');
  return GetEventParameter(event, name, type, size, bytes.data()) ? bytes : "none";
}

TEST(Event, HasClassAndKind) {
  Event* event = CreateEvent(0x89ABCDEF, 0xFFFFFFFF);
  EXPECT_EQ(platform::EventClass(event), 0x89ABCDEFu);
  EXPECT_EQ(EventKind(event), 0xFFFFFFFFu);
  EXPECT_EQ(RetainEvent(event), event);
  ReleaseEvent(event);
  EXPECT_EQ(EventKind(event), 0xFFFFFFFFu);
  ReleaseEvent(event);
}

TEST(Event, KeepsParametersOfAllSizes) {
  for (const std::size_t size : {0u, 1u, 3u, 4u, 7u, 8u, 9u, 16u, 255u, 4096u, 1u << 20}) {
    SCOPED_TRACE(size);
    const OwnEvent event(1);
    const std::string bytes = Bytes(size, 'a');
    ASSERT_TRUE(Set(event, 5, 6, bytes));
    EXPECT_EQ(Get(event, 5, 6, size), bytes);
    EXPECT_EQ(Get(event, 4, 6, size), "none");
    EXPECT_EQ(Get(event, 5, 7, size), "none");
    EXPECT_EQ(Get(event, 5, 6, size + 1), "none");
    if (size > 0) {
      EXPECT_EQ(Get(event, 5, 6, size - 1), "none");
    }
  }
}

TEST(Event, LeavesTheBufferAloneWithoutTheParameter) {
  const OwnEvent event(1);
  Set(event, 5, 6, "1234");
  std::array<char, 4> buffer{'x', 'x', 'x', 'x'};
  EXPECT_FALSE(GetEventParameter(event, 5, 7, 4, buffer.data()));
  EXPECT_EQ(std::string(buffer.data(), 4), "xxxx");
}

TEST(Event, ReplacesAParameterWithOneOfAnySize) {
  const std::size_t sizes[] = {0, 4, 8, 9, 100};
  for (const std::size_t first : sizes) {
    for (const std::size_t second : sizes) {
      SCOPED_TRACE(::testing::Message() << first << ", then " << second);
      const OwnEvent event(1);
      for (unsigned int name = 0; name < 6; ++name) ASSERT_TRUE(Set(event, name, 1, Bytes(first, 'a')));
      for (unsigned int name = 0; name < 6; name += 2) ASSERT_TRUE(Set(event, name, 2, Bytes(second, 'A')));
      for (unsigned int name = 0; name < 6; ++name) {
        const bool is_replaced = name % 2 == 0;
        EXPECT_EQ(Get(event, name, 1, first), is_replaced ? "none" : Bytes(first, 'a')) << name;
        EXPECT_EQ(Get(event, name, 2, second), is_replaced ? Bytes(second, 'A') : "none") << name;
      }
    }
  }
}

TEST(Event, KeepsAnyNumberOfParameters) {
  const OwnEvent event(1);
  const auto size_of = [](unsigned int name) { return std::size_t{name * 7 % 20}; };
  for (unsigned int name = 0; name < 200; ++name) ASSERT_TRUE(Set(event, name, name, Bytes(size_of(name), 'a')));
  for (unsigned int name = 0; name < 200; ++name) {
    EXPECT_EQ(Get(event, name, name, size_of(name)), Bytes(size_of(name), 'a')) << name;
  }
}

TEST(Event, RefusesAParameterWithoutData) {
  const OwnEvent event(1);
  EXPECT_FALSE(SetEventParameter(event, 1, 1, 4, nullptr));
  EXPECT_FALSE(SetEventParameter(event, 1, 1, 400, nullptr));
  EXPECT_TRUE(SetEventParameter(event, 2, 1, 0, nullptr));
  EXPECT_TRUE(GetEventParameter(event, 2, 1, 0, nullptr));
  EXPECT_FALSE(GetEventParameter(event, 1, 1, 0, nullptr));
}

}  // namespace
