#include "call_thread.h"
#include "tasks.h"

namespace soak {

namespace {

class SignalTask final : public Task {
 public:
  explicit SignalTask(std::string name) : name_(std::move(name)) {}

  void Round(LProcessInterface& process) override {
    bool is_signalled = false;
    CallThread waiter([&](LProcessInterface&) {
      LSignalObjectNamed signal(name_.c_str());
      is_signalled = signal.WaitSignal(0);
      if (is_signalled) signal.Reset();
    });
    waiter.Start(kPriority);
    LSignalObjectNamed sender(name_.c_str());
    // A signal that comes before somebody waits is lost.
    for (int i = 0; waiter.IsRunning() && i < 60000; ++i) {
      sender.Signal();
      process.ProcessWait(1);
    }
    waiter.JoinThread();
    Require(is_signalled, "a named signal arrives");
  }

 private:
  const std::string name_;
};

}  // namespace

std::unique_ptr<Task> MakeSignalTask(const std::string& name) { return std::make_unique<SignalTask>(name); }

}  // namespace soak
