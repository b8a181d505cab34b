#include <array>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/virtual_slots.h>
#include <tests/support/waiting.h>
#include <tillvane/core/LProcessInterface.h>

namespace {

using support::kAtOnceMs;
using support::kLongMs;
using support::SlotOf;
using support::Stopwatch;

constexpr unsigned int kNoLimit = 0xFFFFFFFF;

/// Keeps what is reported; everything else is the void implementation's.
class Reports : public LProcessInterfaceVoid {
 public:
  void SetError(const char* text) override { errors.emplace_back(text); }
  void SetStatus(const char* text, int value) override {
    statuses.emplace_back(text);
    values.push_back(value);
  }

  std::vector<std::string> errors, statuses;
  std::vector<int> values;
};

TEST(ProcessInterface, TheVirtualFunctionsStandInTheirOrder) {
  EXPECT_EQ(SlotOf(&LProcessInterface::IsToStop), 0);
  EXPECT_EQ(SlotOf(&LProcessInterface::ProcessWait), 1);
  EXPECT_EQ(SlotOf(&LProcessInterface::ProcessWaitSignal), 2);
  EXPECT_EQ(SlotOf(&LProcessInterface::ProcessWaitSignalObjectGroup), 3);
  EXPECT_EQ(SlotOf(&LProcessInterface::SetError), 4);
  EXPECT_EQ(SlotOf(&LProcessInterface::SetStatus), 5);
  EXPECT_EQ(SlotOf(&LProcessInterface::SetProgress), 6);
  EXPECT_EQ(SlotOf(&LProcessInterface::SetProgressIndeterminateOn), 7);
  EXPECT_EQ(SlotOf(&LProcessInterface::SetProgressIndeterminateOff), 8);
}

TEST(ProcessInterface, TheOtherFunctionsHaveNoSlot) {
  EXPECT_EQ(SlotOf(&LProcessInterface::SetErrorF), -1);
  EXPECT_EQ(SlotOf(&LProcessInterface::SetStatusF), -1);
}

// A class that derives from it adds its own slots, a destructor's for example, after these nine.
TEST(ProcessInterface, ADerivedClassAddsItsSlotsBehind) {
  struct Derived : LProcessInterfaceVoid {
    virtual void First() {}
  };
  EXPECT_EQ(SlotOf(&Derived::First), 9);
}

TEST(ProcessInterface, HasNeitherDataNorAVirtualDestructor) {
  EXPECT_EQ(sizeof(LProcessInterface), sizeof(void*));
  EXPECT_EQ(sizeof(LProcessInterfaceVoid), sizeof(void*));
  EXPECT_FALSE(std::has_virtual_destructor_v<LProcessInterface>);
  EXPECT_FALSE(std::has_virtual_destructor_v<LProcessInterfaceVoid>);
  EXPECT_TRUE(std::is_abstract_v<LProcessInterface>);
}

TEST(ProcessInterface, FormatsErrorsAndStatus) {
  Reports reports;
  reports.SetErrorF("%s: %d of %lu%%", "copy", -3, 7UL);
  reports.SetErrorF("%s", "");
  reports.SetStatusF(42, "%c%05.1f", 'x', 2.25);
  EXPECT_EQ(reports.errors, (std::vector<std::string>{"copy: -3 of 7%", ""}));
  EXPECT_EQ(reports.statuses, std::vector<std::string>{"x002.2"});
  EXPECT_EQ(reports.values, std::vector<int>{42});
}

TEST(ProcessInterface, CutsLongReportsAt8191Bytes) {
  for (const std::size_t length : {0u, 1u, 8190u, 8191u, 8192u, 8193u, 20000u}) {
    SCOPED_TRACE(length);
    std::string text(length, 'x');
    for (std::size_t i = 0; i < length; ++i) text[i] = static_cast<char>('a' + i % 26);
    const std::string expected = text.substr(0, 8191);
    Reports reports;
    reports.SetErrorF("%s", text.c_str());
    reports.SetStatusF(-1, "%s", text.c_str());
    EXPECT_EQ(reports.errors, std::vector<std::string>{expected});
    EXPECT_EQ(reports.statuses, std::vector<std::string>{expected});
    EXPECT_EQ(reports.values, std::vector<int>{-1});
  }
}

TEST(ProcessInterface, AFormatThatTheLibraryRefusesReportsAnEmptyText) {
  Reports reports;
  const std::array<wchar_t, 2> no_character{static_cast<wchar_t>(0x7FFFFFFF), 0};
  reports.SetErrorF("before %ls", reinterpret_cast<const wchar_t*>(no_character.data()));
  reports.SetStatusF(5, "before %ls", reinterpret_cast<const wchar_t*>(no_character.data()));
  EXPECT_EQ(reports.errors, std::vector<std::string>{""});
  EXPECT_EQ(reports.statuses, std::vector<std::string>{""});
  EXPECT_EQ(reports.values, std::vector<int>{5});
}

TEST(ProcessInterface, ReportsThatNobodyOverridesAreSwallowed) {
  LProcessInterfaceVoid process;
  LProcessInterface& interface = process;
  interface.SetError("error");
  interface.SetError(nullptr);
  interface.SetErrorF("error %d", 1);
  interface.SetStatus("status", 1);
  interface.SetStatusF(1, "status %d", 2);
  interface.SetProgress(0.5);
  interface.SetProgressIndeterminateOn();
  interface.SetProgressIndeterminateOff();
  EXPECT_FALSE(interface.IsToStop());
}

TEST(ProcessInterfaceVoid, NeverStops) {
  LProcessInterfaceVoid process;
  LSignalObject signal;
  signal.Signal();
  for (int i = 0; i < 3; ++i) {
    EXPECT_FALSE(process.IsToStop());
    EXPECT_EQ(process.ProcessWaitSignal(signal, 0), 0);
  }
}

TEST(ProcessInterfaceVoid, ProcessWaitSleepsTheWholeTimeAndAnswersFalse) {
  for (const unsigned int ms : {0u, 1u, 30u, 1005u}) {
    SCOPED_TRACE(ms);
    LProcessInterfaceVoid process;
    const Stopwatch watch;
    EXPECT_FALSE(process.ProcessWait(ms));
    EXPECT_GE(watch.Ms(), static_cast<long long>(ms));
    EXPECT_LT(watch.Ms(), ms + kAtOnceMs);
  }
}

TEST(ProcessInterfaceVoid, AnswersOfTheSignalWaits) {
  struct Case {
    bool is_signalled;
    unsigned int ms;
    int expected;
  };
  for (const auto& [is_signalled, ms, expected] :
       {Case{false, 0, 2}, Case{false, 30, 2}, Case{true, 0, 0}, Case{true, 30, 0}, Case{true, kNoLimit, 0}}) {
    SCOPED_TRACE(::testing::Message() << is_signalled << ", " << ms << " ms");
    LProcessInterfaceVoid process;
    const LSignalObject signal;
    if (is_signalled) signal.Signal();
    LSignalObjectGroup group;
    group.Add(signal);
    const Stopwatch watch;
    EXPECT_EQ(process.ProcessWaitSignal(signal, ms), expected);
    EXPECT_EQ(process.ProcessWaitSignalObjectGroup(group, ms), expected);
    EXPECT_GE(watch.Ms(), is_signalled ? 0 : 2LL * ms);
    EXPECT_LT(watch.Ms(), kAtOnceMs);
  }
}

TEST(ProcessInterfaceVoid, AnswersSignalledAgainUntilTheObjectIsReset) {
  LProcessInterfaceVoid process;
  LSignalObject signal;
  signal.Signal();
  LSignalObjectGroup group;
  group.Add(signal);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(process.ProcessWaitSignal(signal, kNoLimit), 0);
    EXPECT_EQ(process.ProcessWaitSignalObjectGroup(group, kNoLimit), 0);
  }
  signal.Reset();
  EXPECT_EQ(process.ProcessWaitSignal(signal, 0), 2);
  EXPECT_EQ(process.ProcessWaitSignalObjectGroup(group, 0), 2);
}

TEST(ProcessInterfaceVoid, ASignalEndsAWaitWithoutALimit) {
  LProcessInterfaceVoid process;
  const LSignalObject signal;
  LSignalObjectGroup group;
  group.Add(signal);
  const support::Later later(30, [&] { signal.Signal(); });
  EXPECT_EQ(process.ProcessWaitSignalObjectGroup(group, kNoLimit), 0);
  EXPECT_EQ(process.ProcessWaitSignal(signal, kNoLimit), 0);
}

TEST(ProcessInterfaceVoid, AFailedWaitAnswers2AtOnce) {
  LProcessInterfaceVoid process;
  LSignalObjectRef none;
  LSignalObjectRef closed;
  {
    const LSignalObject signal;
    closed = signal;
  }
  LSignalObjectGroup group;
  group.Add(closed);
  const Stopwatch watch;
  EXPECT_EQ(process.ProcessWaitSignal(none, kLongMs), 2);
  EXPECT_EQ(process.ProcessWaitSignal(closed, kLongMs), 2);
  EXPECT_EQ(process.ProcessWaitSignalObjectGroup(group, kLongMs), 2);
  EXPECT_LT(watch.Ms(), support::kSoonMs);
}

}  // namespace
