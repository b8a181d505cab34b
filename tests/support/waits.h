#pragma once

#include <atomic>
#include <ostream>

#include <tillvane/core/LProcessEventsHandler.h>

namespace support {

/// The four ways to wait on the main thread.
enum class Wait { kTime, kForever, kSignal, kSignalForever };

inline constexpr Wait kWaits[] = {Wait::kTime, Wait::kForever, Wait::kSignal, Wait::kSignalForever};

inline std::ostream& operator<<(std::ostream& out, Wait wait) {
  constexpr const char* names[] = {"for a time", "for ever", "for a signal", "for a signal for ever"};
  return out << "wait " << names[static_cast<int>(wait)];
}

/// Stops when it is told to, and counts how often it was asked.
class StopFlag : public LProcessEventsHandler {
 public:
  bool IsProcessEventHandlerToStop() const override {
    ++asked;
    return stop;
  }

  std::atomic<bool> stop{false};
  mutable int asked = 0;
};

/// What does not fit the kind of wait is left out.
inline int RunWait(Wait wait, LProcessEventsHandler& handler, LSignalObjectRef signal, unsigned int ms) {
  switch (wait) {
    case Wait::kTime:
      return handler.ProcessWaitAndProcessEvents(ms);
    case Wait::kForever:
      return handler.ProcessWaitForeverAndProcessEvents();
    case Wait::kSignal:
      return handler.ProcessWaitSignalAndProcessEvents(signal, ms);
    default:
      return handler.ProcessWaitSignalForeverAndProcessEvents(signal);
  }
}

}  // namespace support
