// A GTK host on a display of its own: see gtk_host.cpp.

#include <gtest/gtest.h>

#include <tests/support/child_process.h>
#include <tests/support/display.h>

namespace {

using support::Display;
using support::ProcessResult;
using support::RunProcess;

constexpr unsigned int kLongMs = 60000;

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
