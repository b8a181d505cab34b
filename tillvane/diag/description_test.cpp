#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <thread>

#include <tests/support/guarded_buffer.h>
#include <tillvane/diag/LDebugThread.h>
#include <tillvane/platform/system_version.h>
#include <tillvane/platform/thread_id.h>

namespace {

std::string System() {
  const platform::SystemVersion version = platform::CurrentSystemVersion();
  char text[64];
  std::snprintf(text, sizeof text, "MacIntel%u%02u", version.major_number % 256, version.minor_number % 256);
  return text;
}

std::string NameOf(const char* tag) {
  char name[8];
  LDebugFormatThreadName(name, tag, platform::CurrentThreadId());
  return name;
}

/// The whole line, checked for what holds of every one.
std::string Describe(const char* first, const char* third) {
  support::GuardedBuffer<char> out(260);
  const int count = LDebugGenerateXIString(out.get(), first, third);
  std::string line = out.get();
  EXPECT_TRUE(out.IsUntouchedFrom(line.size() + 1));
  EXPECT_EQ(static_cast<int>(line.size()), std::min(count, 259));
  return line;
}

/// What stands behind the system part.
std::string DescribeThread() {
  const std::string line = Describe("", "");
  const std::string begin = '-' + System() + "--";
  EXPECT_EQ(line.substr(0, begin.size()), begin);
  return line.substr(begin.size());
}

/// Puts back what the tests change.
class Description : public testing::Test {
 protected:
  void TearDown() override {
    LDebugThreadStatusClear();
    LDebugThreadDataStopThread();
    gwDebugCurrentCommand = 1;
    gwDebugLastCommand = 0;
  }
};

TEST_F(Description, IsFirstSystemThirdAndThread) {
  LDebugThreadDataStartThread("Worker");
  LDebugThreadSetLastDialog("Open");
  gwDebugCurrentCommand = 2;
  EXPECT_EQ(Describe("beta", "4711"), "beta-" + System() + "-4711-" + NameOf("Worker") + NameOf("Open") + "GuiIni2");
  EXPECT_EQ(Describe(nullptr, nullptr), "-" + System() + "--" + NameOf("Worker") + NameOf("Open") + "GuiIni2");
}

TEST_F(Description, NamesWhatTheMainThreadIsAbout) {
  struct Case {
    unsigned int current, last;
    const char* text;
  };
  for (const Case& c :
       {Case{0, 0, "Ukn0(LstCmd0)"}, Case{0, 42, "Ukn0(LstCmd42)"}, Case{0, 0xFFFFFFFF, "Ukn0(LstCmd-1)"},
        Case{1, 42, "GloIni1"}, Case{2, 42, "GuiIni2"}, Case{3, 42, "GuiDes3"}, Case{4, 42, "GloDes4"},
        Case{5, 42, "(Cmd5)"}, Case{4711, 42, "(Cmd4711)"}, Case{0x7FFFFFFF, 0, "(Cmd2147483647)"},
        Case{0x80000000, 0, "(Cmd-2147483648)"}}) {
    gwDebugCurrentCommand = c.current;
    gwDebugLastCommand = c.last;
    EXPECT_EQ(DescribeThread(), std::string("Unknown") + c.text) << c.current << ' ' << c.last;
  }
}

TEST_F(Description, OfAnotherThreadHasNoCommand) {
  std::thread([] {
    EXPECT_EQ(DescribeThread(), "Unknown");
    LDebugThreadDataStartThread("Worker");
    EXPECT_EQ(DescribeThread(), NameOf("Worker"));
    LDebugThreadSetLastDialog("Open");
    EXPECT_EQ(DescribeThread(), NameOf("Worker") + NameOf("Open"));
    LDebugThreadDataStopThread();
    EXPECT_EQ(DescribeThread(), "Unknown");
  }).join();
}

TEST_F(Description, ANameOfDigitsIsLeftOut) {
  for (const char* tag : {static_cast<const char*>(nullptr), "", "0a", "9"}) {
    LDebugThreadDataStartThread(tag);
    EXPECT_EQ(DescribeThread(), "GloIni1") << (tag != nullptr ? tag : "null");
    LDebugThreadSetLastDialog("Open");
    EXPECT_EQ(DescribeThread(), NameOf("Open") + "GloIni1") << (tag != nullptr ? tag : "null");
    LDebugThreadDataStopThread();
  }
  for (const char* tag : {"/", ":", "a1", "\xB2"}) {
    LDebugThreadDataStartThread(tag);
    EXPECT_EQ(DescribeThread(), NameOf(tag) + "GloIni1") << tag;
    LDebugThreadDataStopThread();
  }
}

TEST_F(Description, TheStatusTextGoesBeforeTheCommand) {
  LDebugThreadStatusSet("saving");
  EXPECT_EQ(DescribeThread(), "Unknownsaving");
  LDebugThreadStatusSet("");
  EXPECT_EQ(DescribeThread(), "Unknown");
  LDebugThreadStatusSet(nullptr);
  EXPECT_EQ(DescribeThread(), "Unknown");
  LDebugThreadStatusClear();
  EXPECT_EQ(DescribeThread(), "UnknownGloIni1");
}

TEST_F(Description, TheStatusTextIsItsOwners) {
  LDebugThreadStatusSet("main's");
  std::thread([] {
    EXPECT_EQ(DescribeThread(), "Unknown");
    // Not its own.
    LDebugThreadStatusClear();
  }).join();
  EXPECT_EQ(DescribeThread(), "Unknownmain's");
  std::thread([] {
    LDebugThreadStatusSet("other");
    EXPECT_EQ(DescribeThread(), "Unknownother");
  }).join();
  // It was taken away, and goes on being the other's.
  EXPECT_EQ(DescribeThread(), "UnknownGloIni1");
  LDebugThreadStatusClear();
  EXPECT_EQ(DescribeThread(), "UnknownGloIni1");
  LDebugThreadStatusSet("again");
  EXPECT_EQ(DescribeThread(), "Unknownagain");
}

TEST_F(Description, TheStatusTextIsCutAt259) {
  // A thread whose name is left out: nothing stands before the status text.
  LDebugThreadDataStartThread(nullptr);
  for (const std::size_t length : {258U, 259U, 260U, 5000U}) {
    LDebugThreadStatusSet(std::string(length, 's').c_str());
    char out[260];
    const auto count = static_cast<std::size_t>(LDebugGenerateXIString(out, "", ""));
    EXPECT_EQ(count, 3 + System().size() + std::min<std::size_t>(length, 259)) << length;
  }
}

TEST_F(Description, TheThreadsPartIsCutAt259) {
  for (const std::size_t length : {251U, 252U, 253U, 259U}) {
    LDebugThreadStatusSet(std::string(length, 's').c_str());
    EXPECT_EQ(Describe("", ""), ("-" + System() + "--Unknown" + std::string(length, 's')).substr(0, 259)) << length;
    char out[260];
    const auto count = static_cast<std::size_t>(LDebugGenerateXIString(out, "", ""));
    EXPECT_EQ(count, 3 + System().size() + std::min<std::size_t>(7 + length, 259)) << length;
  }
}

TEST_F(Description, IsCutAt259AndSaysHowLongItWouldBe) {
  const std::size_t rest = ("-" + System() + "-third-UnknownGloIni1").size();
  for (const std::size_t length : {259 - rest - 1, 259 - rest, 259 - rest + 1, std::size_t{1000}}) {
    const std::string first(length, 'f');
    const std::string whole = first + "-" + System() + "-third-UnknownGloIni1";
    support::GuardedBuffer<char> out(260);
    EXPECT_EQ(static_cast<std::size_t>(LDebugGenerateXIString(out.get(), first.c_str(), "third")), whole.size());
    EXPECT_EQ(out.get(), whole.substr(0, 259));
    EXPECT_TRUE(out.IsWhole());
  }
}

TEST_F(Description, EmptiesItsBufferFirst) {
  char out[260] = "beta";
  LDebugGenerateXIString(out, out, "4711");
  EXPECT_EQ(out, "-" + System() + "-4711-UnknownGloIni1");
}

}  // namespace
