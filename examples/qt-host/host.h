#pragma once

#include <QWidget>
#include <memory>

#include "qt-host/queue_watch.h"
#include "qt-host/window.h"

namespace qt_host {

/// Around each loop that Qt runs: Ctrl-C and the session's end then close the window, on the main loop.
class RunLoopBracket {
 public:
  explicit RunLoopBracket(QWidget& window);
  ~RunLoopBracket();
  RunLoopBracket(const RunLoopBracket&) = delete;
  RunLoopBracket& operator=(const RunLoopBracket&) = delete;
};

/// What the program consists of. The application object comes first and goes last.
class Host {
 public:
  Host();
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  Window& MainWindow() { return *window_; }
  /// Shows the window, until it is closed. \return the program's exit status
  int Run();

 private:
  std::unique_ptr<QueueWatch> queue_;  ///< null where Qt runs on the library's loop
  std::unique_ptr<Window> window_;
};

}  // namespace qt_host
