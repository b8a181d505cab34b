#pragma once

#include <signal.h>

#include <string>
#include <vector>

#include <tests/support/child_process.h>
#include <tests/support/temp_folder.h>

namespace support {

/// An X server without a screen, for as long as it lives.
class Display {
 public:
  /// \param size of its screen, in pixels
  explicit Display(const std::string& size = "640x480")
      : server_({"/usr/bin/Xvfb", "-displayfd", "1", "-screen", "0", size + "x24", "-nolisten", "tcp", "-fbdir",
                 folder_.Path()}) {
    if (server_.IsStarted() && server_.WaitForOutput("\n", kStartMs)) {
      name_ = ":" + server_.Output().substr(0, server_.Output().find('\n'));
    }
  }

  /// A server that is asked to end takes its lock and its socket away.
  ~Display() {
    if (!server_.IsStarted()) return;
    server_.Signal(SIGTERM);
    server_.WaitForEnd(kStartMs);
  }
  Display(const Display&) = delete;
  Display& operator=(const Display&) = delete;

  /// Empty when there is no server.
  const std::string& Name() const { return name_; }

  /// What stands on the screen now, as the file of a window dump.
  std::string Dump() const { return folder_.File("Xvfb_screen0"); }

 private:
  static constexpr unsigned int kStartMs = 60000;

  const TempFolder folder_;
  ChildProcess server_;
  std::string name_;
};

}  // namespace support
