// Work for the main thread where the host turns GLib's loop.

#include <thread>

#include <gtest/gtest.h>

#include <tests/support/dispatch.h>
#include <tests/support/glib_sources.h>
#include <tests/support/waiting.h>
#include <tillvane/core/LThreadRunOnMainThread.h>

namespace {

using support::HostLoop;
using support::HostSource;
using support::Work;

class MainThreadDispatchLinux : public support::DispatchTest {
 protected:
  /// Quits long after it should be over.
  HostLoop loop_;
  HostSource limit_{static_cast<int>(support::kSoonMs), [this] {
                      ADD_FAILURE() << "the loop was not told to quit";
                      loop_.Quit();
                    }};
  LThreadRunOnMainThread sender_;
};

TEST_F(MainThreadDispatchLinux, TheHostsLoopRunsWhatIsThereAndWhatComes) {
  sender_.RunOnMainThread(Logging("was there"));
  const support::Later later(20, [&] {
    sender_.RunOnMainThread(Logging("came"));
    sender_.RunOnMainThread(new Work([&] { loop_.Quit(); }));
  });
  loop_.Run();
  EXPECT_EQ(log_, (Log{"was there", "came"}));
  EXPECT_EQ(sender_.GetRefCount(), 0);
}

TEST_F(MainThreadDispatchLinux, WorkInTheHostsLoopMayWaitAndFreeItsSender) {
  auto* const sender = new LThreadRunOnMainThread;
  sender->RunOnMainThread(new Work([&] {
    LProcessClearCurrentEvents();
    log_.emplace_back("outer");
    loop_.Quit();
  }));
  sender->RunOnMainThread(new Work([&] {
    log_.emplace_back("inner");
    sender->ThreadRunOnMainThreadDestroy();
    delete sender;
  }));
  loop_.Run();
  EXPECT_EQ(log_, (Log{"inner", "outer"}));
}

}  // namespace
