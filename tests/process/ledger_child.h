#pragma once

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/faults.h>
#include <tests/support/temp_folder.h>

namespace support {

/// Does a child's answer say that it was done?
inline bool IsTrue(const std::string& answer) { return answer.rfind("true", 0) == 0; }

/// Another process at a ledger: the helper of these tests, which does what it is told. \see ledger_child.cpp
///
/// Its end is part of the test: one that was not killed has to leave by itself, with nothing to complain about.
class LedgerChild {
 public:
  /// \param folder of the ledger; none is opened when it is empty
  explicit LedgerChild(const std::string& folder = {}, int busy_timeout_ms = 10000) {
    int ends[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    socket_ = ends[0];
    Start(ends[1]);
    close(ends[1]);
    if (!folder.empty()) {
      EXPECT_EQ(Ask("open " + folder + ' ' + std::to_string(busy_timeout_ms)), "true");
    }
  }

  ~LedgerChild() {
    if (pid_ > 0) {
      EXPECT_EQ(End(), 0) << "the child's end";
    }
    close(socket_);
  }
  LedgerChild(const LedgerChild&) = delete;
  LedgerChild& operator=(const LedgerChild&) = delete;

  pid_t Pid() const { return pid_; }

  void Tell(const std::string& command) {
    const std::string line = command + '\n';
    EXPECT_EQ(send(socket_, line.data(), line.size(), MSG_NOSIGNAL), static_cast<ssize_t>(line.size())) << command;
  }

  /// The next line; "nothing" when the child has ended or none came for a minute.
  std::string Answer() {
    while (text_.find('\n') == std::string::npos) {
      if (!Read()) return "nothing";
    }
    const std::string line = text_.substr(0, text_.find('\n'));
    text_.erase(0, line.size() + 1);
    return line;
  }

  std::string Ask(const std::string& command) {
    Tell(command);
    return Answer();
  }

  void Kill() {
    NoteFault("process", 0, "killed");
    kill(pid_, SIGKILL);
    int status = 0;
    EXPECT_EQ(waitpid(pid_, &status, 0), pid_);
    pid_ = -1;
  }

  /// After its end: the whole lines that were not read yet.
  std::vector<std::string> Rest() {
    while (Read()) {
    }
    std::vector<std::string> lines;
    std::istringstream stream(text_.substr(0, text_.rfind('\n') + 1));
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
  }

 private:
  void Start(int socket) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, socket, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, socket, STDOUT_FILENO);
    // What whoever runs the tests left open would make a limit of descriptors leave more than it says.
    posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    char path[] = TILLVANE_TEST_HELPER;
    char* const arguments[] = {path, nullptr};
    EXPECT_EQ(posix_spawn(&pid_, path, &actions, nullptr, arguments, environ), 0) << path;
    posix_spawn_file_actions_destroy(&actions);
  }

  bool Read() {
    pollfd readable{socket_, POLLIN, 0};
    char buffer[4096];
    if (poll(&readable, 1, 60000) <= 0) return false;
    const ssize_t size = read(socket_, buffer, sizeof buffer);
    if (size > 0) text_.append(buffer, static_cast<unsigned long>(size));
    return size > 0;
  }

  int End() {
    shutdown(socket_, SHUT_WR);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    int status = -1;
    while (waitpid(pid_, &status, WNOHANG) == 0) {
      if (std::chrono::steady_clock::now() > end) kill(pid_, SIGKILL);
      usleep(500);
    }
    pid_ = -1;
    return status;
  }

  int socket_ = -1;
  pid_t pid_ = -1;
  std::string text_;
};

}  // namespace support
