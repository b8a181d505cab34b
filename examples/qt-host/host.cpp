#include "qt-host/host.h"

#include <tillvane/tillvane.h>

#include <QApplication>

namespace qt_host {

RunLoopBracket::RunLoopBracket(QWidget& window) {
  LRunLoopEnter([](void* data) { static_cast<QWidget*>(data)->close(); }, &window);
}

RunLoopBracket::~RunLoopBracket() { LRunLoopLeave(); }

Host::Host() {
  LThreadRunOnMainThread::Init();
  if (!HasLibraryLoop()) queue_ = std::make_unique<QueueWatch>();
  window_ = std::make_unique<Window>();
}

Host::~Host() {
  window_.reset();
  LThreadRunOnMainThread::Destroy();
}

int Host::Run() {
  window_->show();
  const RunLoopBracket bracket(*window_);
  return QApplication::exec();
}

}  // namespace qt_host
