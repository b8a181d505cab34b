// A host that loads the library and lets it go again.

#include <gtest/gtest.h>

#include <tests/support/child_process.h>
#include <tests/support/temp_folder.h>

namespace {

TEST(LibraryUnload, NothingOfItStaysInTheProcessNorItsMarker) {
  const support::TempFolder folder;
  const support::ProcessResult host =
      support::RunProcess({TILLVANE_TEST_HELPER, TILLVANE_TEST_LIBRARY, folder.File("_tillvane_rl_somebody")}, 20000,
                          {"TMPDIR=" + folder.Path(), "LOGNAME=somebody"});
  EXPECT_EQ(host.exit_code, 0) << host.errors;
  EXPECT_EQ(host.output, "mapped 1, marker 1\nmapped 0, marker 0\n");
}

}  // namespace
