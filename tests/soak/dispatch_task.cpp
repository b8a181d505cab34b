#include <atomic>
#include <cmath>

#include "call_thread.h"
#include "tasks.h"

namespace soak {

namespace {

constexpr int kPosts = 100;
constexpr unsigned int kLongMs = 60000;

/// What has arrived on the main thread; only that touches it until `all_` is signalled.
struct Arrived {
  int works = 0;
  unsigned int notifications = 0;
  int plain = 0;
  int freed = 0;
  int late = 0;
  bool in_order = true;
  double progress = 0;
  std::string status;
};

class NumberedWork final : public LThreadRunOnMainThreadData {
 public:
  NumberedWork(Arrived& arrived, int number) : arrived_(arrived), number_(number) {}
  ~NumberedWork() override { ++arrived_.freed; }
  void MainThreadFunction() override {
    arrived_.in_order = arrived_.in_order && LIsMainThread() && number_ == arrived_.works;
    ++arrived_.works;
  }

 private:
  Arrived& arrived_;
  const int number_;
};

/// Must never run.
class LateWork final : public LThreadRunOnMainThreadData {
 public:
  explicit LateWork(Arrived& arrived) : arrived_(arrived) {}
  ~LateWork() override { ++arrived_.freed; }
  void MainThreadFunction() override { ++arrived_.late; }

 private:
  Arrived& arrived_;
};

/// Posts work by a sender of its own and takes it back.
class Withdrawal final : public LThreadRunOnMainThreadData {
 public:
  explicit Withdrawal(Arrived& arrived) : arrived_(arrived) {}
  void MainThreadFunction() override {
    LThreadRunOnMainThread sender;
    for (int i = 0; i < 3; ++i) sender.RunOnMainThread(new LateWork(arrived_));
    sender.ThreadRunOnMainThreadDestroy();
    arrived_.in_order = arrived_.in_order && sender.GetRefCount() == 0;
  }

 private:
  Arrived& arrived_;
};

class Done final : public LThreadRunOnMainThreadData {
 public:
  explicit Done(LSignalObjectRef done) : done_(done) {}
  void MainThreadFunction() override { done_.Signal(); }

 private:
  const LSignalObjectRef done_;
};

class Notifications final : public LQueuedNotifyDataHandler {
 public:
  explicit Notifications(Arrived& arrived) : arrived_(arrived) {}
  void EvQueuedNotifyData(unsigned int code, const void* data, unsigned long size) override {
    const std::string text(static_cast<const char*>(data), size);
    arrived_.in_order = arrived_.in_order && code == arrived_.notifications && text == std::to_string(code);
    ++arrived_.notifications;
  }

 private:
  Arrived& arrived_;
};

class PlainNotification final : public LThreadQueuedNotify {
 public:
  explicit PlainNotification(Arrived& arrived) : arrived_(arrived) {}
  void QueuedNotify() override { ++arrived_.plain; }

 private:
  Arrived& arrived_;
};

/// Where the reports of a thread end.
class Screen final : public LProcessInterfaceVoid {
 public:
  explicit Screen(Arrived& arrived) : arrived_(arrived) {}
  void SetStatus(const char* text, int) override { arrived_.status = text; }
  void SetProgress(double fraction) override {
    arrived_.in_order = arrived_.in_order && fraction >= arrived_.progress;
    arrived_.progress = fraction;
  }

 private:
  Arrived& arrived_;
};

class ReportingThread final : public LThreadNotifyInterface {
 public:
  using LThreadNotifyInterface::LThreadNotifyInterface;
  ~ReportingThread() override { StopThreadAndWait(); }
  void ThreadFunction() override {
    for (int i = 1; i <= 20; ++i) {
      SetStatusF(0, "step %d", i);
      SetProgress(i / 20.0);
    }
  }
};

/// What posts belongs to the main thread, which makes and destroys this.
class DispatchTask final : public Task {
 public:
  ~DispatchTask() override {
    sender_.ThreadRunOnMainThreadDestroy();
    plain_.ThreadQueuedNotifyDestroy();
    notifications_.QueuedNotifyDataHandlerDestroy();
    reporter_.QueuedNotifyDataHandlerDestroy();
  }

  void Round(LProcessInterface& process) override {
    arrived_ = Arrived();
    done_.Reset();
    CallThread worker([this](LProcessInterface&) { PostWork(); });
    CallThread notifier([this](LProcessInterface&) { PostNotifications(); });
    for (LThread* const thread :
         {static_cast<LThread*>(&reporter_), static_cast<LThread*>(&worker), static_cast<LThread*>(&notifier)}) {
      thread->Start(kPriority);
    }
    reporter_.JoinThread();
    worker.JoinThread();
    notifier.JoinThread();
    sender_.RunOnMainThread(new Done(done_));
    Require(process.ProcessWaitSignal(done_, kLongMs) == 0, "work for the main thread is done there");
    Check();
  }

 private:
  void PostWork() {
    for (int i = 0; i < kPosts; ++i) sender_.RunOnMainThread(new NumberedWork(arrived_, i));
    sender_.RunOnMainThread(new Withdrawal(arrived_));
  }

  void PostNotifications() {
    for (int i = 0; i < kPosts; ++i) {
      const std::string text = std::to_string(i);
      notifications_.PostNotifyFromSender(static_cast<unsigned int>(i), text.data(), text.size());
      plain_.PostQueueNotify();
    }
  }

  void Check() const {
    Require(arrived_.in_order, "what is posted arrives on the main thread, in its order");
    Require(arrived_.works == kPosts, "all work is done");
    Require(arrived_.notifications == kPosts && arrived_.plain == kPosts, "all notifications arrive");
    Require(arrived_.late == 0, "work that was withdrawn is not done");
    Require(arrived_.freed == kPosts + 3, "work is freed, done or withdrawn");
    Require(arrived_.status == "step 20" && std::abs(arrived_.progress - 1) < 0.001, "a thread's last report arrives");
  }

  Arrived arrived_;
  LSignalObject done_;
  Screen screen_{arrived_};
  LThreadRunOnMainThread sender_;
  Notifications notifications_{arrived_};
  PlainNotification plain_{arrived_};
  ReportingThread reporter_{&screen_};
};

}  // namespace

std::unique_ptr<Task> MakeDispatchTask() { return std::make_unique<DispatchTask>(); }

}  // namespace soak
