#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>

#include <tests/support/guarded_buffer.h>
#include <tillvane/diag/LDebugThread.h>
#include <tillvane/platform/thread_id.h>

namespace {

/// What the tag form gives for the calling thread.
std::string NameOf(const char* tag) {
  char name[8];
  LDebugFormatThreadName(name, tag, platform::CurrentThreadId());
  return name;
}

/// The calling thread has the first record, named 'Main', for as long as this lives.
class ThreadNames : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(gnDebugThreads, 0U);
    LDebugThreadDataStartThread("Main");
  }
  void TearDown() override { LDebugThreadDataStopThread(); }

  static std::string Name() { return gDebugThreadData[0].name; }
  static std::string Dialog() { return gDebugThreadData[0].dialog; }

  const std::string digits_ = NameOf("");
};

TEST(ThreadName, IsTheTagAndThreeDigitsTheLowestFirst) {
  struct Case {
    const char* tag;
    unsigned int id;
    const char* name;
  };
  for (const Case& c : {
           Case{"Worker", 123456, "Work654"},
           Case{"Work", 123456, "Work654"},
           Case{"Wor", 123456, "Wor654"},
           Case{"", 123456, "654"},
           Case{"MAIN", 7, "MAIN700"},
           Case{"MAIN", 10, "MAIN010"},
           Case{"MAIN", 1000, "MAIN000"},
           Case{"MAIN", 0xFFFFFFFD, "MAIN392"},
           Case{"%s%n", 123456, "%s%n654"},
           // A character of three bytes, cut after two.
           Case{"ab\xE2\x82\xAC", 123456,
                "ab\xE2\x82"
                "654"},
           Case{"\xF0\x9F\x98\x80x", 123456,
                "\xF0\x9F\x98\x80"
                "654"},
           Case{nullptr, 123456, "3456"},
           Case{nullptr, 120006, "0006"},
           Case{nullptr, 7, "0007"},
           Case{nullptr, 0xFFFFFFFD, "7293"},
       }) {
    SCOPED_TRACE((c.tag != nullptr ? c.tag : "null") + std::string(" ") + std::to_string(c.id));
    support::GuardedBuffer<char> out(8);
    LDebugFormatThreadName(out.get(), c.tag, c.id);
    EXPECT_STREQ(out.get(), c.name);
    EXPECT_TRUE(out.IsUntouchedFrom(std::strlen(c.name) + 1));
  }
}

TEST(ThreadName, TheTagMayLieWhereTheNameGoes) {
  char name[8] = "Worker";
  LDebugFormatThreadName(name, name + 1, 123456);
  EXPECT_STREQ(name, "orke654");
}

TEST_F(ThreadNames, MayBeChanged) {
  EXPECT_EQ(Name(), "Main" + digits_);
  LDebugThreadSetName("Worker");
  EXPECT_EQ(Name(), "Work" + digits_);
  LDebugThreadSetName(nullptr);
  EXPECT_EQ(Name(), NameOf(nullptr));
  LDebugThreadSetName("a");
  EXPECT_EQ(Name(), "a" + digits_);
}

TEST_F(ThreadNames, AreChangedByTheirOwnThreadOnly) {
  std::thread([] {
    LDebugThreadSetName("Thief");
    LDebugThreadSetLastDialog("Steal");
    const LBugReportBlockScope scope("Thief");
  }).join();
  EXPECT_EQ(Name(), "Main" + digits_);
  EXPECT_EQ(Dialog(), "");
}

TEST_F(ThreadNames, TheLastDialogHasTheDigitsAndIsCut) {
  struct Case {
    std::string text, dialog;
  };
  const std::string letters(27, 'x');
  for (const Case& c : {Case{"Open", "Open" + digits_}, Case{"", digits_}, Case{"%d%s", "%d%s" + digits_},
                        Case{letters, letters + digits_}, Case{letters + "y", letters + "y" + digits_},
                        Case{letters + "yy", letters + "yy" + digits_.substr(0, 2)},
                        Case{letters + "yyyy", letters + "yyyy"}, Case{letters + letters, letters + "xxxx"}}) {
    LDebugThreadSetLastDialog(c.text.c_str());
    EXPECT_EQ(Dialog(), c.dialog) << c.text;
    EXPECT_EQ(Name(), "Main" + digits_) << c.text;
  }
  LDebugThreadSetLastDialog(nullptr);
  EXPECT_EQ(Dialog(), digits_);
}

TEST_F(ThreadNames, TheLastDialogMayBeMadeOfItself) {
  LDebugThreadSetLastDialog("Open");
  LDebugThreadSetLastDialog(gDebugThreadData[0].dialog);
  EXPECT_EQ(Dialog(), "Open" + digits_ + digits_);
}

TEST_F(ThreadNames, AScopeGivesTheOldNameBack) {
  LDebugThreadSetName(nullptr);
  {
    const LBugReportBlockScope scope("Parse");
    EXPECT_EQ(Name(), "Pars" + digits_);
    {
      const LBugReportBlockScope inner(nullptr);
      EXPECT_EQ(Name(), NameOf(nullptr));
    }
    EXPECT_EQ(Name(), "Pars" + digits_);
    LDebugThreadSetName("Other");
  }
  EXPECT_EQ(Name(), NameOf(nullptr));
}

TEST(ThreadNameScope, WithoutARecordItDoesNothing) {
  std::thread([] {
    {
      const LBugReportBlockScope scope("Parse");
      LDebugThreadDataStartThread("Late");
    }
    EXPECT_EQ(gDebugThreadData[0].name, NameOf("Late"));
    LDebugThreadDataStopThread();
  }).join();
}

TEST(ThreadNameScope, ARecordThatBecameAnotherThreadsIsLeftAlone) {
  LDebugThreadDataStartThread("Main");
  {
    const LBugReportBlockScope scope("Parse");
    LDebugThreadDataStopThread();
    std::thread([] { LDebugThreadDataStartThread("Thief"); }).join();
  }
  EXPECT_EQ(std::string(gDebugThreadData[0].name, 4), "Thie");
  gDebugThreadData[0].id = platform::CurrentThreadId();
  LDebugThreadDataStopThread();
  EXPECT_EQ(gnDebugThreads, 0U);
}

}  // namespace
