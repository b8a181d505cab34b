#include "qt-host/queue_watch.h"

#include <tillvane/tillvane.h>

#include <QAbstractEventDispatcher>

namespace qt_host {

bool HasLibraryLoop() { return QAbstractEventDispatcher::instance()->inherits("QEventDispatcherGlib"); }

QueueWatch::QueueWatch() : readable_(LEventQueueDescriptor(), QSocketNotifier::Read) {
  QObject::connect(&readable_, &QSocketNotifier::activated, &readable_, [] { LEventQueueDrain(); });
}

}  // namespace qt_host
