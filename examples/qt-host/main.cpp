// A host with a Qt 6 window: it sells itself through the store bridge, and its window is never still meanwhile.
//
// Read window.cpp for the window's side, ../window-shop/shop.cpp for the store's. Where Qt runs on GLib's main context
// the library waits with Qt's own loop; elsewhere (try QT_NO_GLIB=1) queue_watch.cpp and qt_process.cpp connect the
// two.

#include <QApplication>

#include "qt-host/host.h"

int main(int argc, char** argv) {
  const QApplication application(argc, argv);
  return qt_host::Host().Run();
}
