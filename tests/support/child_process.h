#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace support {

/// A program that a test starts; ended by force, if need be, and reaped before this goes away.
///
/// Its standard input is empty; what it writes is collected whenever this is waited on. It inherits no other descriptor
/// that is closed on exec. Times are milliseconds. Used by one thread.
class ChildProcess {
 public:
  /// \param command the program's path and its arguments
  /// \param environment "NAME=value" each, on top of this process's own
  explicit ChildProcess(const std::vector<std::string>& command, const std::vector<std::string>& environment = {});
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// False when there is no such program.
  bool IsStarted() const { return pid_ > 0; }
  /// Stays the child's own until it is reaped.
  pid_t Pid() const { return pid_; }

  /// Sends a signal while the child runs.
  void Signal(int signal) const;

  /// Waits until the child has written this text to its standard output. \return false when the time passed or it ended
  bool WaitForOutput(const std::string& text, unsigned int ms);

  /// Waits for the child's end. \return false when it still runs after this time
  bool WaitForEnd(unsigned int ms);

  /// How it ended; both are -1 while it runs, and one of them always.
  int ExitCode() const;
  int EndingSignal() const;

  /// Why it may not have ended, for the message of a test: what it has written, and of each of its threads the state,
  /// the signals that it blocks and that wait for it, and the system's function in which it sleeps.
  std::string Describe() const;

  const std::string& Output() const { return streams_[0].text; }
  const std::string& Errors() const { return streams_[1].text; }

 private:
  struct Stream {
    int descriptor = -1;
    std::string text;
  };

  bool Poll();
  void ReadWhatIsThere(Stream* stream, int ms);
  bool Reap(int options);

  pid_t pid_ = -1;
  bool ended_ = false;
  int status_ = 0;
  Stream streams_[2];  // standard output, standard error
};

/// What became of a program that ran to its end.
struct ProcessResult {
  bool ended = false;  ///< false when it did not start, or was ended for running too long
  int exit_code = -1;
  int signal = -1;
  std::string output;
  std::string errors;
};

ProcessResult RunProcess(const std::vector<std::string>& command, unsigned int ms,
                         const std::vector<std::string>& environment = {});

}  // namespace support
