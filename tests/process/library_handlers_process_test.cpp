// The library as a host loads and unloads it while it runs: see library_handlers_host.cpp.

#include <string>

#include <gtest/gtest.h>

#include <tests/support/child_process.h>

namespace {

// SIGPIPE, SIGQUIT, SIGILL, SIGFPE, SIGSEGV, SIGBUS, SIGINT, SIGTERM
const std::string kDefaults = " default default default default default default default default\n";
const std::string kVariables = "variables: command 1, last 0, recursive, loaded by this thread\n";
const std::string kLoaded =
    "loaded: ignored-by-library library library library library library library library\n" + kVariables;

void ExpectOutput(const std::string& mode, const std::string& before, const std::string& after) {
  SCOPED_TRACE(mode);
  const support::ProcessResult host =
      support::RunProcess({TILLVANE_TEST_HANDLERS_HOST, TILLVANE_TEST_LIBRARY, mode}, 60000);
  EXPECT_EQ(host.exit_code, 3) << host.errors;
  EXPECT_EQ(host.output, "before:" + before + kLoaded + "is unloaded\nafter:" + after);
}

TEST(LibraryHandlers, TheThreadThatLoadsTheLibraryIsTheMainOne) {
  const support::ProcessResult host =
      support::RunProcess({TILLVANE_TEST_HANDLERS_HOST, TILLVANE_TEST_LIBRARY, "elsewhere"}, 60000);
  EXPECT_EQ(host.exit_code, 3) << host.errors;
  EXPECT_EQ(host.output, kVariables);
}

TEST(LibraryHandlers, GivesWayToWhatWasThereBefore) { ExpectOutput("plain", kDefaults, kDefaults); }

TEST(LibraryHandlers, GivesWayToAHostsHandlers) {
  const std::string own = " own default default default own-info default ignored default\n";
  ExpectOutput("own-before", own, own);
}

TEST(LibraryHandlers, LeavesHandlersAloneThatTheHostInstalledSince) {
  ExpectOutput("replaced", kDefaults, " ignored own default default own-info default default default\n");
}

TEST(LibraryHandlers, LeavesNothingBehindInTheHostsLoop) { ExpectOutput("used", kDefaults, kDefaults); }

}  // namespace
