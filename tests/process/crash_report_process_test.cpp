// What is reported of a crash, from where, and when not: see crash_report_child.cpp.

#include <signal.h>
#include <sys/resource.h>

#include <cstdint>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/child_process.h>
#include <tests/support/temp_folder.h>
#include <tests/support/waiting.h>

namespace {

using support::ProcessResult;

constexpr unsigned int kLongMs = 60000;
/// What 666 is to a parent.
constexpr int kFatal = 154;
/// The child came to its own end.
constexpr int kOwnEnd = 3;

struct Frame {
  std::uintptr_t address = 0, offset = 0;
  std::string build_id, path;
};

struct Report {
  std::vector<std::string> lines;
  std::vector<Frame> frames;
};

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

Frame ReadFrame(const std::string& line) {
  Frame frame;
  std::istringstream in(line.substr(6));
  in >> std::hex >> frame.address >> frame.offset >> frame.build_id >> std::ws;
  std::getline(in, frame.path);
  return frame;
}

Report ReadReport(const std::string& file) {
  Report report;
  std::ifstream in(file);
  std::stringstream text;
  text << in.rdbuf();
  for (const std::string& line : Lines(text.str())) {
    if (line.rfind("frame ", 0) == 0) {
      report.frames.push_back(ReadFrame(line));
    } else {
      report.lines.push_back(line);
    }
  }
  return report;
}

std::string OutputOf(const std::string& command) {
  return support::RunProcess({"/bin/sh", "-c", command}, kLongMs).output;
}

/// Where a function lies in the child's file: its first byte, and the one behind its last.
std::pair<std::uintptr_t, std::uintptr_t> PlaceOf(const std::string& function) {
  std::uintptr_t begin = 0, size = 0;
  std::istringstream(OutputOf("nm -S '" TILLVANE_TEST_HELPER "' | grep ' " + function + "$'")) >> std::hex >> begin >>
      size;
  return {begin, begin + size};
}

/// Milliseconds that the processor has spent on children that have ended.
long long ChildrensMs() {
  rusage usage;
  getrusage(RUSAGE_CHILDREN, &usage);
  return (usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1000LL +
         (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1000;
}

class CrashReport : public testing::Test {
 protected:
  ProcessResult RunChild(const std::string& how, const std::string& mode, const std::string& argument) {
    ProcessResult child = support::RunProcess({TILLVANE_TEST_HELPER, how, file_, mode, argument}, kLongMs);
    report_ = ReadReport(file_);
    return child;
  }

  /// The report of a child that has said which thread it is about to crash on.
  void ExpectReport(const ProcessResult& child, const std::string& signal, const std::string& cause) {
    EXPECT_EQ(child.exit_code, kFatal);
    ASSERT_EQ(report_.lines.size(), 4U) << testing::PrintToString(report_.lines);
    EXPECT_EQ(report_.lines[0], signal);
    EXPECT_EQ(report_.lines[1].rfind(cause, 0), 0U) << report_.lines[1];
    EXPECT_EQ(report_.lines[3], "end");
  }

  void ExpectEmpty() {
    EXPECT_TRUE(report_.lines.empty()) << testing::PrintToString(report_.lines);
    EXPECT_TRUE(report_.frames.empty());
  }

  /// One of the frames lies in the function.
  void ExpectFrameIn(const std::string& function) {
    const auto [begin, end] = PlaceOf(function);
    ASSERT_GT(end, begin) << function << " is not in the child";
    for (const Frame& frame : report_.frames) {
      if (frame.path == TILLVANE_TEST_HELPER && frame.offset >= begin && frame.offset < end) return;
    }
    ADD_FAILURE() << "no frame of " << report_.frames.size() << " is in " << function;
  }

  support::TempFolder folder_;
  std::string file_ = folder_.File("report");
  Report report_;
};

TEST_F(CrashReport, SaysWhatHappenedAndWhere) {
  const ProcessResult child = RunChild("on", "main", "segv");
  ExpectReport(child, "SIGNAL11", "code 1 address 0x10");
  EXPECT_EQ(report_.lines[2] + '\n', child.output) << "the thread is not registered";
  ExpectFrameIn("WriteToNowhere");
  ExpectFrameIn("main");
}

TEST_F(CrashReport, NamesEachFrameByItsFileAndBuildId) {
  RunChild("on", "main", "segv");
  const std::string id = OutputOf("readelf -n '" TILLVANE_TEST_HELPER "' | sed -n 's/^ *Build ID: //p'");
  ASSERT_FALSE(id.empty());
  ASSERT_FALSE(report_.frames.empty());
  std::uintptr_t base = 0;
  bool has_library = false;
  for (const Frame& frame : report_.frames) {
    EXPECT_GT(frame.address, frame.offset);
    EXPECT_EQ(frame.path[0], '/');
    has_library |= frame.path.find("/libc.so") != std::string::npos;
    if (frame.path != TILLVANE_TEST_HELPER) continue;
    EXPECT_EQ(frame.build_id + '\n', id);
    if (base == 0) base = frame.address - frame.offset;
    EXPECT_EQ(frame.address - frame.offset, base);
  }
  EXPECT_NE(base, 0U);
  EXPECT_TRUE(has_library) << "the signal's own frame is the C library's";
}

TEST_F(CrashReport, IsWrittenForEachFault) {
  struct Case {
    std::string fault, signal;
  };
  for (const Case& c :
       {Case{"segv", "SIGNAL" + std::to_string(SIGSEGV)}, Case{"bus", "SIGNAL" + std::to_string(SIGBUS)},
        Case{"fpe", "SIGNAL" + std::to_string(SIGFPE)}}) {
    SCOPED_TRACE(c.fault);
    const ProcessResult child = RunChild("on", "main", c.fault);
    ExpectReport(child, c.signal, "code ");
    ExpectFrameIn("main");
  }
}

TEST_F(CrashReport, NamesAThreadThatIsRegistered) {
  const ProcessResult child = RunChild("on", "thread", "segv");
  ExpectReport(child, "SIGNAL11", "code 1 address 0x10");
  const std::string thread = Lines(child.output).at(0);
  EXPECT_EQ(report_.lines[2].rfind(thread + " Work", 0), 0U) << report_.lines[2];
  ExpectFrameIn("WriteToNowhere");
}

TEST_F(CrashReport, OfAnOverflowedStackComesFromAnotherOne) {
  for (const std::string mode : {"main", "thread", "foreign-asked"}) {
    SCOPED_TRACE(mode);
    const ProcessResult child = RunChild("on", mode, "overflow");
    ExpectReport(child, "SIGNAL11", "code ");
    // Most of them are the function's that calls itself.
    EXPECT_EQ(report_.frames.size(), 128U) << "as many as are written";
  }
}

TEST_F(CrashReport, WithoutAnotherStackAnOverflowIsTheSystems) {
  for (const std::string how : {"none", "off"}) {
    for (const std::string mode : {"main", "thread"}) {
      EXPECT_EQ(RunChild(how, mode, "overflow").signal, SIGSEGV) << how << ' ' << mode;
      ExpectEmpty();
    }
  }
  EXPECT_EQ(RunChild("on", "foreign", "overflow").signal, SIGSEGV) << "a thread that never asked";
  ExpectEmpty();
}

TEST_F(CrashReport, IsWrittenWhileTheAllocatorIsLocked) {
  ExpectReport(RunChild("on", "allocator", ""), "SIGNAL11", "code 1 address 0x10");
  ExpectFrameIn("malloc");
}

TEST_F(CrashReport, WithoutItTheAllocatorsLockIsNoMatterEither) {
  EXPECT_EQ(RunChild("none", "allocator", "").exit_code, kFatal);
  ExpectEmpty();
}

TEST_F(CrashReport, OfSignalsThatReturnIsWrittenToo) {
  for (const int number : {SIGQUIT, SIGILL}) {
    const ProcessResult child = RunChild("on", "raise", std::to_string(number));
    EXPECT_EQ(child.exit_code, kOwnEnd);
    EXPECT_EQ(child.output, "went on, trapped 1\n");
    ASSERT_EQ(report_.lines.size(), 4U);
    EXPECT_EQ(report_.lines[0], "SIGNAL" + std::to_string(number));
    EXPECT_NE(report_.lines[1].find(" sender "), std::string::npos) << report_.lines[1];
  }
}

TEST_F(CrashReport, OfASecondSignalIsNotWritten) {
  for (const int number : {SIGQUIT, SIGSEGV}) {
    const ProcessResult child = RunChild("on", "raise-after-quit", std::to_string(number));
    EXPECT_EQ(child.exit_code, kOwnEnd);
    EXPECT_EQ(child.output, "went on, trapped 1\n");
    ASSERT_EQ(report_.lines.size(), 4U);
    EXPECT_EQ(report_.lines[0], "SIGNAL" + std::to_string(SIGQUIT));
  }
}

TEST_F(CrashReport, IsWrittenOnlyWhereItWasAskedFor) {
  for (const std::string how : {"none", "off", "closed"}) {
    for (const std::string mode : {"main", "thread", "foreign"}) {
      EXPECT_EQ(RunChild(how, mode, "segv").exit_code, kFatal) << how << ' ' << mode;
      ExpectEmpty();
    }
  }
}

TEST_F(CrashReport, IsOneWhenThreadsCrashTogether) {
  for (int i = 0; i < 10; ++i) {
    ExpectReport(RunChild("on", "together", "segv"), "SIGNAL11", "code 1 address 0x10");
    ExpectFrameIn("WriteToNowhere");
  }
}

// What is known is written before what may fault.
TEST_F(CrashReport, AFaultInItEndsTheProcess) {
  const long long before = ChildrensMs();
  EXPECT_EQ(RunChild("on", "stackless", "").exit_code, kFatal);
  EXPECT_LT(ChildrensMs() - before, 1000) << "the fault was repeated until the time was over";
  ASSERT_GE(report_.lines.size(), 3U);
  EXPECT_EQ(report_.lines[0], "SIGNAL11");
}

TEST_F(CrashReport, AHangInItEndsTheProcess) {
  for (const std::string fault : {"segv", "quit"}) {
    for (const std::string mode : {"hang", "hang-in-thread"}) {
      SCOPED_TRACE(fault + ' ' + mode);
      EXPECT_EQ(RunChild("on", mode, fault).exit_code, kFatal);
      EXPECT_EQ(report_.lines.size(), 3U);
    }
  }
}

TEST_F(CrashReport, DoesNotWaitForEverForItsReader) {
  EXPECT_EQ(RunChild("full", "main", "segv").exit_code, kFatal);
  for (const std::string mode : {"raise", "raise-in-thread"}) {
    const ProcessResult child = RunChild("full", mode, std::to_string(SIGQUIT));
    EXPECT_EQ(child.exit_code, kOwnEnd) << mode;
    EXPECT_EQ(child.output, "went on, trapped 1\n") << mode;
  }
}

// Of a descriptor that does not block, too, the reader gets all lines or the first ones.
TEST_F(CrashReport, HasNoHoles) {
  const ProcessResult child = RunChild("slow", "main", "overflow");
  EXPECT_EQ(child.exit_code, kFatal);
  // The reader outlives it.
  const auto has_end = [&] {
    report_ = ReadReport(file_);
    return !report_.lines.empty() && report_.lines.back() == "end";
  };
  EXPECT_TRUE(support::WaitUntil(has_end)) << testing::PrintToString(report_.lines);
  EXPECT_EQ(report_.lines.size(), 4U);
  EXPECT_EQ(report_.frames.size(), 128U);
}

TEST_F(CrashReport, TheHostsAlarmGoesOnAfterIt) {
  EXPECT_EQ(RunChild("on", "alarm", "").output, "SIGALRM is the host's, and comes within 100 seconds\n");
}

TEST_F(CrashReport, AThreadHasAnotherStackAsLongAsItLives) {
  EXPECT_EQ(RunChild("on", "stacks", "").output, "here 1, in a thread 1, used 1\ngiven back\n");
  EXPECT_EQ(RunChild("none", "stacks", "").output, "here 0, in a thread 0, used 0\ngiven back\n");
  EXPECT_EQ(RunChild("off", "stacks", "").output, "here 0, in a thread 0, used 0\ngiven back\n");
  EXPECT_EQ(RunChild("on", "own-stack", "").output, "kept\n");
}

}  // namespace
