#pragma once

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include <tests/support/child_process.h>
#include <tests/support/temp_folder.h>

namespace support {

/// A message bus of the test's own, which lets everybody do everything.
class PrivateBus {
 public:
  explicit PrivateBus(const TempFolder& folder)
      : daemon_({"/usr/bin/env", "dbus-daemon", "--config-file=" + WriteConfiguration(folder), "--nofork",
                 "--print-address"}) {
    if (!daemon_.WaitForOutput("\n", kStartMs)) return;
    address_ = daemon_.Output().substr(0, daemon_.Output().find('\n'));
  }

  /// Where dbus-daemon is not installed.
  bool IsMissing() { return daemon_.WaitForEnd(0) && daemon_.ExitCode() == 127; }
  const std::string& Address() const { return address_; }
  const std::string& Errors() const { return daemon_.Errors(); }

 private:
  static constexpr unsigned int kStartMs = 60000;

  static std::string WriteConfiguration(const TempFolder& folder) {
    return folder.Write("bus.conf", "<busconfig><listen>unix:path=" + folder.File("bus") +
                                        "</listen><policy context='default'><allow send_destination='*'/>"
                                        "<allow receive_sender='*'/><allow own='*'/></policy></busconfig>");
  }

  ChildProcess daemon_;
  std::string address_;
};

/// Takes connections, and then says nothing; or lets those who connect in, and then says nothing.
class MuteBus {
 public:
  MuteBus(const TempFolder& folder, bool lets_in) : address_("unix:path=" + folder.File("mute")) {
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    folder.File("mute").copy(name.sun_path, sizeof name.sun_path - 1);
    listener_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(bind(listener_, reinterpret_cast<const sockaddr*>(&name), sizeof name), 0);
    EXPECT_EQ(listen(listener_, 16), 0);
    if (lets_in) doorkeeper_ = std::thread([this] { LetIn(); });
  }
  ~MuteBus() {
    shutdown(listener_, SHUT_RDWR);
    if (doorkeeper_.joinable()) doorkeeper_.join();
    close(listener_);
  }
  MuteBus(const MuteBus&) = delete;
  MuteBus& operator=(const MuteBus&) = delete;

  const std::string& Address() const { return address_; }

 private:
  /// One after the other, until the listener is shut.
  void LetIn() const {
    for (int guest; (guest = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC)) >= 0; close(guest)) {
      while (Answer(guest, ReadLine(guest))) {
      }
      // What comes now is for a bus.
      for (char byte; read(guest, &byte, 1) > 0;) {
      }
    }
  }

  /// Empty when no more will come.
  static std::string ReadLine(int guest) {
    std::string line;
    for (char byte; line.find('\n') == std::string::npos && read(guest, &byte, 1) == 1;) line += byte;
    return line;
  }

  /// \return whether another line follows
  static bool Answer(int guest, const std::string& line) {
    if (line.empty() || line.rfind("BEGIN", 0) == 0) return false;
    const char* answer = "ERROR\r\n";
    if (line.find("AUTH") != std::string::npos) answer = "REJECTED EXTERNAL\r\n";
    if (line.find("AUTH EXTERNAL ") != std::string::npos) answer = "OK 0123456789abcdef0123456789abcdef\r\n";
    return send(guest, answer, std::strlen(answer), MSG_NOSIGNAL) > 0;
  }

  const std::string address_;
  int listener_ = -1;
  std::thread doorkeeper_;
};

}  // namespace support
