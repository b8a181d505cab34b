#pragma once

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <vector>

namespace support {

/// A program that a test starts on a terminal of its own, where it types and reads the screen; ended by force, if need
/// be, and reaped before this goes away. Times are milliseconds. Used by one thread.
class TerminalChild {
 public:
  explicit TerminalChild(const std::vector<std::string>& command, const std::vector<std::string>& environment) {
    winsize size{24, 100, 0, 0};
    pid_ = forkpty(&terminal_, nullptr, nullptr, &size);
    if (pid_ == 0) Run(command, environment);
  }
  ~TerminalChild() {
    if (pid_ > 0 && !ended_) {
      kill(pid_, SIGKILL);
      waitpid(pid_, &status_, 0);
    }
    if (terminal_ >= 0) close(terminal_);
  }
  TerminalChild(const TerminalChild&) = delete;
  TerminalChild& operator=(const TerminalChild&) = delete;

  /// Types, as if all keys were hit at once; "\x03" is Ctrl-C.
  void Type(const std::string& keys) const {
    [[maybe_unused]] const ssize_t written = write(terminal_, keys.data(), keys.size());
  }

  void Signal(int signal) const {
    if (!ended_) kill(pid_, signal);
  }

  /// Waits until this stands on the screen behind what an earlier call has found. \return false when the time passed
  bool WaitFor(const std::string& text, unsigned int ms) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
    std::size_t found;
    while ((found = screen_.find(text, seen_)) == std::string::npos) {
      if (std::chrono::steady_clock::now() >= end || !Read()) return false;
    }
    seen_ = found + text.size();
    return true;
  }

  /// Waits for the program's end. \return its exit status; -1 when it still runs after this time, or was killed
  int WaitForEnd(unsigned int ms) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
    while (!ended_ && std::chrono::steady_clock::now() < end) {
      Read();
      ended_ = waitpid(pid_, &status_, WNOHANG) == pid_;
    }
    while (ended_ && Read()) {
    }
    return ended_ && WIFEXITED(status_) ? WEXITSTATUS(status_) : -1;
  }

  /// All that was written so far, with the terminal's own line ends and echo.
  const std::string& Screen() const { return screen_; }

 private:
  [[noreturn]] static void Run(const std::vector<std::string>& command, const std::vector<std::string>& environment) {
    std::vector<char*> arguments;
    for (const std::string& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    for (const std::string& variable : environment) putenv(const_cast<char*>(variable.c_str()));
    execv(arguments[0], arguments.data());
    _exit(127);
  }

  /// One look at the terminal. \return false when nothing more will come
  bool Read() {
    pollfd ready{terminal_, POLLIN, 0};
    if (poll(&ready, 1, 10) <= 0) return !ended_;
    char buffer[4096];
    // A terminal whose program has ended answers with an error.
    const ssize_t size = read(terminal_, buffer, sizeof buffer);
    if (size > 0) screen_.append(buffer, static_cast<std::size_t>(size));
    return size > 0;
  }

  pid_t pid_ = -1;
  int terminal_ = -1;
  int status_ = 0;
  bool ended_ = false;
  std::size_t seen_ = 0;
  std::string screen_;
};

}  // namespace support
