#include <gmock/gmock.h>

#include <tests/support/open_descriptors.h>
#include <tillvane/core/LEventQueue.h>
#include <tillvane/diag/signal_handlers.h>
#include <tillvane/platform/event_queue.h>

namespace {

/// Fails every test that leaves the process's descriptors other than it found them.
class DescriptorWatcher : public testing::EmptyTestEventListener {
  void OnTestStart(const testing::TestInfo&) override { before_ = support::ListOpenDescriptors(); }

  void OnTestEnd(const testing::TestInfo&) override {
    EXPECT_EQ(support::DescribeChanges(before_, support::ListOpenDescriptors()), "");
  }

  support::OpenDescriptors before_;
};

/// Opens what the library opens once for the whole process: the event queue's descriptors and the main context's.
void OpenWhatStaysOpen() {
  LEventQueueCount();
  LEventQueueDescriptor();
  platform::Event* event = nullptr;
  if (platform::ReceiveEvent(0, &event) == platform::Received::kEvent) platform::ReleaseEvent(event);
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleMock(&argc, argv);
#ifdef TILLVANE_SANITIZED
  // A fault is the sanitizer's to explain; the library's handler would end the process without a word.
  diag::RestoreSignalHandlers();
#endif
  OpenWhatStaysOpen();
  testing::UnitTest::GetInstance()->listeners().Append(new DescriptorWatcher);
  return RUN_ALL_TESTS();
}
