#pragma once

#include <tillvane/tillvane.h>

#include <functional>
#include <utility>

namespace soak {

/// The system's ordinary one.
inline constexpr int kPriority = 31;

/// A thread of the toolkit that calls a function, with itself as what asks whether to stop. The function must not
/// throw.
class CallThread final : public LThread {
 public:
  using Function = std::function<void(LProcessInterface& process)>;

  explicit CallThread(Function function) : function_(std::move(function)) {}
  ~CallThread() override { StopThreadAndWait(); }

  void ThreadFunction() override { function_(*this); }

 private:
  const Function function_;
};

}  // namespace soak
