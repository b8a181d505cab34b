#pragma once

#include <QSocketNotifier>

namespace qt_host {

/// Does Qt run on the loop that the library waits with? Then nothing has to connect the two. It is so where Qt was
/// built with GLib, as distributions build it, unless the variable QT_NO_GLIB is set. The application object comes
/// first.
bool HasLibraryLoop();

/// Lets another loop of Qt's dispatch the library's events, in every loop that Qt runs, as long as this lives. Main
/// thread only.
class QueueWatch {
 public:
  QueueWatch();

 private:
  QSocketNotifier readable_;
};

}  // namespace qt_host
