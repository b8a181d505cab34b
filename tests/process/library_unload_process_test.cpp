// A host that loads the library and lets it go again.

#include <gtest/gtest.h>

#include <tests/support/child_process.h>

namespace {

TEST(LibraryUnload, NothingOfItStaysInTheProcess) {
  const support::ProcessResult host = support::RunProcess({TILLVANE_TEST_HELPER, TILLVANE_TEST_LIBRARY}, 20000);
  EXPECT_EQ(host.exit_code, 0) << host.errors;
  EXPECT_EQ(host.output, "mapped 1\nmapped 0\n");
}

}  // namespace
