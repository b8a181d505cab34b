// The backend's descriptors on a thread that is cancelled. Apart from other tests: ThreadSanitizer does not follow how
// a thread that is cancelled leaves its functions.

#include <fcntl.h>
#include <pthread.h>

#include <thread>

#include <gtest/gtest.h>

#include <tests/support/open_descriptors.h>
#include <tillvane/platform/posix/descriptor_posix.h>

namespace {

// Otherwise the destructor would be left by the cancellation, which ends the process.
TEST(CancelledDescriptor, IsClosedBeforeTheThreadEnds) {
  const auto before = support::ListOpenDescriptors();
  bool is_behind = false, goes_on = false;
  std::thread thread([&] {
    {
      const platform::Descriptor descriptor(open("/dev/null", O_RDONLY | O_CLOEXEC));
      pthread_cancel(pthread_self());
    }
    is_behind = true;
    pthread_testcancel();
    goes_on = true;
  });
  thread.join();
  EXPECT_TRUE(is_behind);
  EXPECT_FALSE(goes_on) << "the cancellation is only put off";
  EXPECT_EQ(support::DescribeChanges(before, support::ListOpenDescriptors()), "");
}

}  // namespace
