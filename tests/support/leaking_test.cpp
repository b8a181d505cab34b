#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace {

// Succeeds by itself: it is the main function that has to fail it.
TEST(Leaking, LeavesADescriptorOpen) { EXPECT_GE(open("/dev/null", O_RDONLY | O_CLOEXEC), 0); }

TEST(Leaking, ClosesWhatItOpens) { EXPECT_EQ(close(open("/dev/null", O_RDONLY | O_CLOEXEC)), 0); }

}  // namespace
