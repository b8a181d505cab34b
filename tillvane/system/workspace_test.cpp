#include <gtest/gtest.h>

#include <tillvane/system/LWorkspace.h>

namespace {

TEST(Workspace, NothingIsNotRevealed) {
  EXPECT_FALSE(LRevealInFinder(nullptr));
  EXPECT_FALSE(LRevealInFinder(""));
}

// There for hosts that call them.
TEST(Workspace, PanesAreCalled) {
  LOpenSoundPane();
  LOpenUniversalAccessPane();
}

}  // namespace
