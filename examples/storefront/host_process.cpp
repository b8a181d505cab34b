#include "host_process.h"

#include <glib-unix.h>

#include <algorithm>
#include <csignal>
#include <utility>

#include "progress_line.h"

namespace storefront {

namespace {

constexpr unsigned int kNoLimit = 0xFFFFFFFF;
constexpr int kSignalled = 0;
constexpr int kStopped = 1;
constexpr int kTimePassed = 2;

/// Draws progress for as long as a wait lasts.
class ShownWait {
 public:
  ShownWait(ProgressLine& progress, unsigned int ms) : progress_(progress) { progress_.BeginWait(ms); }
  ~ShownWait() { progress_.EndWait(); }
  ShownWait(const ShownWait&) = delete;
  ShownWait& operator=(const ShownWait&) = delete;

 private:
  ProgressLine& progress_;
};

gint64 NowMs() { return g_get_monotonic_time() / 1000; }

}  // namespace

// The flag is set on the main loop, where each wait looks at it as soon as the source has run. The library's own
// handler would end the signal waits with a time, as if that had passed, and no others.
HostProcess::HostProcess(ProgressLine& progress)
    : progress_(progress),
      stop_sources_{g_unix_signal_add(SIGINT, Stop, this), g_unix_signal_add(SIGTERM, Stop, this)} {}

HostProcess::~HostProcess() {
  for (const guint source : stop_sources_) g_source_remove(source);
}

gboolean HostProcess::Stop(gpointer self) {
  static_cast<HostProcess*>(self)->stop_ = true;
  return G_SOURCE_CONTINUE;
}

bool HostProcess::ProcessWait(unsigned int ms) {
  const ShownWait shown(progress_, ms);
  return ProcessWaitAndProcessEvents(ms) == 1;
}

int HostProcess::ProcessWaitSignal(LSignalObjectRef signal, unsigned int ms) {
  const ShownWait shown(progress_, ms);
  const gint64 began = NowMs();
  asked_ms_ = 0;
  int outcome = WaitSignal(signal, ms);
  // Somebody who thought about a question for a minute has used the time in which the store was to answer: it gets
  // that time back, or an accepted purchase would be reported as a failed one.
  for (gint64 given_back = 0; outcome == kTimePassed && given_back < asked_ms_;) {
    given_back = asked_ms_;
    outcome = WaitSignal(signal, static_cast<unsigned int>(std::max<gint64>(began + ms + asked_ms_ - NowMs(), 1)));
  }
  return outcome;
}

int HostProcess::WaitSignal(LSignalObjectRef signal, unsigned int ms) {
  // No limit is a call of its own: to the timed wait 0xFFFFFFFF is a number like any other.
  if (ms == kNoLimit) return ProcessWaitSignalForeverAndProcessEvents(signal);
  return ProcessWaitSignalAndProcessEvents(signal, ms);
}

// The main loop cannot watch a group as a whole: look at it, run the loop for a moment, look again. (The store bridge
// waits for single signals only.)
int HostProcess::ProcessWaitSignalObjectGroup(LSignalObjectGroup& group, unsigned int ms) {
  constexpr gint64 moment_ms = 10;
  const ShownWait shown(progress_, ms);
  const gint64 end = NowMs() + ms;
  for (;;) {
    if (group.Select(0)) return kSignalled;
    if (IsToStop()) return kStopped;
    const gint64 left = ms == kNoLimit ? moment_ms : end - NowMs();
    if (left <= 0) return kTimePassed;
    ProcessWaitAndProcessEvents(static_cast<unsigned int>(std::min(left, moment_ms)));
  }
}

// The text is the caller's and ends with the call: keep a copy.
void HostProcess::SetError(const char* text) { error_ = text; }

std::string HostProcess::TakeError() { return std::exchange(error_, {}); }

HostProcess::Question::Question(HostProcess& process) : process_(process), began_ms_(NowMs()) {
  process_.progress_.Hide();
}

HostProcess::Question::~Question() {
  process_.progress_.Show();
  process_.asked_ms_ += NowMs() - began_ms_;
}

}  // namespace storefront
