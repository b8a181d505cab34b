#include "window-shop/host_process.h"

#include <algorithm>

namespace window_shop {

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

/// What is left of a time that began then; at least one millisecond, so that a wait looks at its signal.
unsigned int Left(Clock::time_point began, milliseconds whole) {
  const auto left = std::chrono::ceil<milliseconds>(began + whole - Clock::now());
  return static_cast<unsigned int>(std::max(left, milliseconds(1)).count());
}

}  // namespace

void HostProcess::BeginStep() {
  stop_ = false;
  error_.clear();
}

int HostProcess::ProcessWaitSignal(LSignalObjectRef signal, unsigned int ms) {
  if (ms == kNoLimit) return Wait(signal, ms);
  const Clock::time_point began = Clock::now();
  asked_ = milliseconds(0);
  int outcome = Wait(signal, ms);
  // Somebody who thinks about a question for a minute uses the time in which the store was to answer.
  for (milliseconds given_back(0); outcome == kTimePassed && given_back < asked_;) {
    given_back = asked_;
    outcome = Wait(signal, Left(began, milliseconds(ms) + asked_));
  }
  return outcome;
}

// A main loop does not watch a group as a whole: look at it, turn the loop for a moment, look again. (The store bridge
// waits for single signals only.)
int HostProcess::ProcessWaitSignalObjectGroup(LSignalObjectGroup& group, unsigned int ms) {
  constexpr unsigned int moment_ms = 10;
  const Clock::time_point end = Clock::now() + milliseconds(ms);
  for (;;) {
    if (group.Select(0)) return kSignalled;
    if (IsToStop()) return kStopped;
    if (ms != kNoLimit && Clock::now() >= end) return kTimePassed;
    Pause(moment_ms);
  }
}

int HostProcess::Wait(LSignalObjectRef signal, unsigned int ms) {
  // No limit is a call of its own: to the timed wait 0xFFFFFFFF is a number like any other.
  if (ms == kNoLimit) return ProcessWaitSignalForeverAndProcessEvents(signal);
  return ProcessWaitSignalAndProcessEvents(signal, ms);
}

bool HostProcess::Pause(unsigned int ms) { return ProcessWaitAndProcessEvents(ms) == 1; }

}  // namespace window_shop
