// A GTK host on a display of its own: see gtk_host.cpp.

#include <signal.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/child_process.h>

namespace {

using support::ChildProcess;
using support::ProcessResult;
using support::RunProcess;

constexpr unsigned int kLongMs = 60000;

/// An X server without a screen, for as long as it lives.
class Display {
 public:
  Display() : server_({"/usr/bin/Xvfb", "-displayfd", "1", "-screen", "0", "640x480x24", "-nolisten", "tcp"}) {
    if (server_.IsStarted() && server_.WaitForOutput("\n", kLongMs)) {
      name_ = ":" + server_.Output().substr(0, server_.Output().find('\n'));
    }
  }

  /// A server that is asked to end takes its lock and its socket away.
  ~Display() {
    if (!server_.IsStarted()) return;
    server_.Signal(SIGTERM);
    server_.WaitForEnd(kLongMs);
  }

  /// Empty when there is no server.
  const std::string& Name() const { return name_; }

 private:
  ChildProcess server_;
  std::string name_;
};

class GtkHost : public testing::TestWithParam<const char*> {};

TEST_P(GtkHost, IsServedByTheWaits) {
  const Display display;
  if (display.Name().empty()) GTEST_SKIP() << "Xvfb is not installed, or did not start";
  // The libraries of the desktop keep memory that they never free, and look for a session that is not there. GTK takes
  // a simulated click only from the core pointer.
  const ProcessResult result =
      RunProcess({TILLVANE_TEST_HELPER, GetParam()}, kLongMs,
                 {"DISPLAY=" + display.Name(), "GDK_BACKEND=x11", "GDK_CORE_DEVICE_EVENTS=1", "NO_AT_BRIDGE=1",
                  "GSETTINGS_BACKEND=memory", "ASAN_OPTIONS=detect_leaks=0"});
  ASSERT_TRUE(result.ended);
  if (result.exit_code == 77) GTEST_SKIP() << "GTK cannot use the display: " << result.errors;
  EXPECT_EQ(result.exit_code, 0) << result.errors;
}

INSTANTIATE_TEST_SUITE_P(Hosts, GtkHost, testing::Values("cancel", "cancel-flood", "main"));

}  // namespace
