// Threads of a process that has no right to real-time ones, and the service that it asks: see realtime_kit_caller.cpp.

#include <sched.h>
#include <signal.h>

#include <cerrno>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include <tests/support/child_process.h>
#include <tests/support/message_bus.h>
#include <tests/support/temp_folder.h>
#include <tests/support/waiting.h>

namespace {

using support::ChildProcess;
using support::MuteBus;
using support::PrivateBus;
using support::ProcessResult;
using support::RunProcess;
using testing::HasSubstr;
using testing::MatchesRegex;

constexpr unsigned int kEndMs = 60000;
const std::string kRefusedByTheKernel = std::to_string(EPERM);

/// ThreadSanitizer does not see GLib's own locks, and takes what they guard for races.
std::vector<std::string> Environment(const std::string& bus) {
  return {"DBUS_SYSTEM_BUS_ADDRESS=" + bus,
          "TSAN_OPTIONS=ignore_noninstrumented_modules=1:halt_on_error=1:die_after_fork=0"};
}

/// What the calling process said: the values of each name, separated by spaces.
using Report = std::map<std::string, std::string>;

Report Call(const std::string& bus, const std::vector<std::string>& options = {}) {
  std::vector<std::string> command = {TILLVANE_TEST_HELPER, "call"};
  command.insert(command.end(), options.begin(), options.end());
  const ProcessResult result = RunProcess(command, kEndMs, Environment(bus));
  EXPECT_EQ(result.exit_code, 0) << "signal " << result.signal << ": " << result.errors;
  EXPECT_EQ(result.errors, "");
  Report report;
  std::istringstream lines(result.output);
  for (std::string line; std::getline(lines, line);) {
    std::string& values = report[line.substr(0, line.find(' '))];
    if (!values.empty()) values += ' ';
    values += line.substr(line.find(' ') + 1);
  }
  return report;
}

/// What holds however the request ends.
void ExpectNoTrace(Report& report) {
  EXPECT_EQ(report["turns"], "0");
  EXPECT_EQ(report["turns-later"], "1");
  EXPECT_EQ(report["context"], "default");
  EXPECT_EQ(report["opened"], "");
  EXPECT_EQ(report["sigpipe"], "default");
  EXPECT_EQ(report["back"], "0");
  EXPECT_EQ(report["policy-later"], "other");
  EXPECT_LT(std::stoll("0" + report["ms"]), support::kSoonMs);
}

void ExpectRefused(const std::string& bus, const std::string& limits = "unlimited unlimited",
                   const std::vector<std::string>& options = {}) {
  Report report = Call(bus, options);
  EXPECT_EQ(report["error"], kRefusedByTheKernel);
  EXPECT_EQ(report["error-of-others"], kRefusedByTheKernel + ' ' + kRefusedByTheKernel);
  EXPECT_EQ(report["policy"], "other");
  EXPECT_EQ(report["limits"], limits);
  ExpectNoTrace(report);
}

bool MayMakeRealTime() {
  bool may = false;
  std::thread([&] {
    const sched_param lowest{sched_get_priority_min(SCHED_RR)};
    may = sched_setscheduler(0, SCHED_RR, &lowest) == 0;
  }).join();
  return may;
}

class RealtimeKit : public testing::Test {
 protected:
  void SetUp() override {
    if (bus_.IsMissing()) GTEST_SKIP() << "dbus-daemon is not installed";
    ASSERT_NE(bus_.Address(), "") << bus_.Errors();
  }

  void Serve(const std::string& way) {
    service_ = std::make_unique<ChildProcess>(std::vector<std::string>{TILLVANE_TEST_HELPER, "serve", way},
                                              Environment(bus_.Address()));
    ASSERT_TRUE(service_->WaitForOutput("ready\n", kEndMs)) << service_->Errors();
  }

  /// What the service saw so far.
  std::string Seen() {
    service_->WaitForEnd(0);
    return service_->Output();
  }

  const support::TempFolder folder_;
  PrivateBus bus_{folder_};
  std::unique_ptr<ChildProcess> service_;
};

TEST_F(RealtimeKit, GivesWhatTheKernelRefuses) {
  if (!MayMakeRealTime()) GTEST_SKIP() << "the test's own service has no right to make a thread real-time";
  Serve("grant");
  Report report = Call(bus_.Address(), {"patient", "may-raise"});
  EXPECT_EQ(report["error"], "0");
  EXPECT_EQ(report["error-of-others"], "0 0");
  EXPECT_EQ(report["policy"], "round-robin");
  EXPECT_EQ(report["limits"], "200000 200000");
  ExpectNoTrace(report);
  EXPECT_THAT(Seen(), MatchesRegex("ready\n(limits 200000 200000 priority 1\n)+"));
}

TEST_F(RealtimeKit, LimitsAreLoweredAndNeverRaised) {
  if (!MayMakeRealTime()) GTEST_SKIP() << "the test's own service has no right to make a thread real-time";
  Serve("grant");
  struct Case {
    const char *soft, *hard, *after;
  };
  for (const Case& c : {Case{"-1", "-1", "200000 200000"}, Case{"150000", "-1", "150000 200000"},
                        Case{"150000", "180000", "150000 180000"}, Case{"200000", "200001", "200000 200000"},
                        Case{"300000", "300000", "200000 200000"}, Case{"90000", "90000", "90000 90000"}}) {
    Report report = Call(bus_.Address(), {"patient", "limits", c.soft, c.hard});
    EXPECT_EQ(report["error"], "0") << c.soft << ' ' << c.hard;
    EXPECT_EQ(report["limits"], c.after) << c.soft << ' ' << c.hard;
  }
}

TEST_F(RealtimeKit, GivesSeveralThreadsAtOnce) {
  if (!MayMakeRealTime()) GTEST_SKIP() << "the test's own service has no right to make a thread real-time";
  Serve("grant");
  Report report = Call(bus_.Address(), {"patient", "may-raise", "at-once"});
  EXPECT_EQ(report["error"], "0 0 0 0");
  EXPECT_EQ(report["policy"], "round-robin round-robin round-robin round-robin");
  EXPECT_EQ(report["limits"], "200000 200000");
}

TEST_F(RealtimeKit, ARefusalPutsTheLimitsBack) {
  Serve("refuse");
  ExpectRefused(bus_.Address(), "unlimited unlimited", {"patient", "may-raise"});
  ExpectRefused(bus_.Address(), "250000 unlimited", {"patient", "may-raise", "limits", "250000", "-1"});
  EXPECT_THAT(Seen(), HasSubstr("limits 200000 200000 priority 1\nrefused: as it was told\n"));
  const std::string refused = kRefusedByTheKernel + ' ';
  Report report = Call(bus_.Address(), {"patient", "may-raise", "at-once"});
  EXPECT_EQ(report["error"], refused + refused + refused + kRefusedByTheKernel);
  EXPECT_EQ(report["limits"], "unlimited unlimited");
}

TEST_F(RealtimeKit, ARefusalLeavesALoweredHardLimitWhereItMayNotBeRaised) {
  Serve("refuse");
  ExpectRefused(bus_.Address(), "200000 200000", {"patient"});
  ExpectRefused(bus_.Address(), "150000 200000", {"patient", "limits", "150000", "-1"});
  ExpectRefused(bus_.Address(), "150000 180000", {"patient", "limits", "150000", "180000"});
}

TEST_F(RealtimeKit, LimitsAreLeftAloneWhileTheServiceSaysNothingOfUse) {
  for (const char* way : {"silent", "no-time", "low", "text"}) {
    SCOPED_TRACE(way);
    service_.reset();
    Serve(way);
    ExpectRefused(bus_.Address());
    EXPECT_EQ(Seen(), "ready\n");
  }
}

TEST_F(RealtimeKit, ARequestThatIsNotAnsweredIsARefusal) {
  Serve("stall");
  ExpectRefused(bus_.Address(), "unlimited unlimited", {"may-raise"});
  EXPECT_THAT(Seen(), HasSubstr("limits 200000 200000 priority 1\n"));
}

TEST_F(RealtimeKit, MayBeAbsent) { ExpectRefused(bus_.Address()); }

TEST_F(RealtimeKit, IsGivenUpWhileGlibsThreadsDoNotRun) {
#if defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "a thread that is halted in a signal handler may hold one of ThreadSanitizer's own locks";
#endif
  Report report = Call(bus_.Address(), {"halted"});
  EXPECT_EQ(report["error-while-halted"], kRefusedByTheKernel);
  EXPECT_LT(std::stoll("0" + report["ms-while-halted"]), support::kSoonMs);
  ExpectNoTrace(report);
}

TEST_F(RealtimeKit, IsGivenUpInAForkedProcess) {
  Report report = Call(bus_.Address(), {"forked"});
  EXPECT_EQ(report["error-of-child"], kRefusedByTheKernel);
  EXPECT_EQ(report["end-of-child"], "0");
  EXPECT_LT(std::stoll("0" + report["ms-of-child"]), support::kSoonMs);
}

TEST_F(RealtimeKit, IsNotAskedWithoutDescriptors) {
  Serve("grant");
  Report report = Call(bus_.Address(), {"no-descriptors"});
  EXPECT_EQ(report["error"], kRefusedByTheKernel + ' ' + kRefusedByTheKernel);
  EXPECT_EQ(report["limits"], "unlimited unlimited");
  EXPECT_EQ(Seen(), "ready\n");
}

TEST(RealtimeKitBus, MayBeAbsent) {
  const support::TempFolder folder;
  for (const std::string& address : {"unix:path=" + folder.File("nothing"), std::string("no address"),
                                     std::string("tcp:host=256.256.256.256,port=1"), std::string("unix:")}) {
    SCOPED_TRACE(address);
    ExpectRefused(address);
  }
}

TEST(RealtimeKitBus, MaySayNothing) {
  for (const bool lets_in : {false, true}) {
    SCOPED_TRACE(lets_in ? "after letting the caller in" : "at all");
    const support::TempFolder folder;
    const MuteBus bus(folder, lets_in);
    ExpectRefused(bus.Address());
  }
}

}  // namespace
