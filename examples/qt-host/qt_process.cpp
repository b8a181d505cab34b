#include "qt-host/qt_process.h"

#include <QDeadlineTimer>
#include <QSocketNotifier>
#include <QTimer>
#include <algorithm>
#include <limits>

#include "qt-host/queue_watch.h"

namespace qt_host {

void QtProcess::Stop() {
  HostProcess::Stop();
  for (QEventLoop* loop : loops_) loop->quit();
}

int QtProcess::Wait(LSignalObjectRef signal, unsigned int ms) {
  if (!HasLibraryLoop()) return WaitInQt(signal, ms);
  const QDeadlineTimer end(ms);
  const int outcome = HostProcess::Wait(signal, ms);
  // A wait of the library's is a run loop of its own: told to quit, it ends before its time.
  if (outcome == kTimePassed && !end.hasExpired()) told_to_quit_();
  return outcome;
}

bool QtProcess::Pause(unsigned int ms) {
  if (HasLibraryLoop()) return HostProcess::Pause(ms);
  QEventLoop loop;
  Turn(loop, ms);
  return IsToStop();
}

int QtProcess::WaitInQt(LSignalObjectRef signal, unsigned int ms) {
  if (signal.filedes[0] < 0) return kTimePassed;
  QEventLoop loop;
  QSocketNotifier readable(signal.filedes[0], QSocketNotifier::Read);
  QObject::connect(&readable, &QSocketNotifier::activated, &loop, [&] {
    readable.setEnabled(false);
    loop.quit();
  });
  Turn(loop, ms);
  if (signal.IsSignaled()) return kSignalled;
  return IsToStop() ? kStopped : kTimePassed;
}

void QtProcess::Turn(QEventLoop& loop, unsigned int ms) {
  if (IsToStop()) return;
  QTimer timer;
  if (ms != kNoLimit) {
    constexpr unsigned int longest = std::numeric_limits<int>::max();
    QObject::connect(&timer, &QTimer::timeout, &loop, &QEventLoop::quit);
    timer.start(static_cast<int>(std::min(ms, longest)));
  }
  loops_.push_back(&loop);
  loop.exec();
  loops_.pop_back();
}

}  // namespace qt_host
