#pragma once

namespace diag {

/// The library's handlers, from when it is loaded until it is unloaded.
class SignalHandlers {
 public:
  SignalHandlers();
  ~SignalHandlers();
  SignalHandlers(const SignalHandlers&) = delete;
  SignalHandlers& operator=(const SignalHandlers&) = delete;
};

/// Puts back what was there before, wherever the handler is still the library's own. Also for programs that want to
/// see their faults some other way.
void RestoreSignalHandlers();

/// Says whether the handler of fatal signals runs on a thread's alternate stack, where it has one.
void UseAlternateStack(bool is_used);

}  // namespace diag
