#pragma once

#include <cstdio>

#include <tillvane/export.h>

/// \file
/// Pipes to and from commands.
///
/// A command is what `/bin/sh -c` takes. Its standard streams that are not piped are this process's own. It inherits
/// nothing else of the library's. No signal is blocked for it, and SIGPIPE ends it, although the library ignores that
/// one here.
///
/// A command that is but a program and its arguments is started without a shell in between, where the outcome is the
/// same: then the program is the process's own child, and no shell has counted SHLVL or reordered its environment.
///
/// A pipe is used by one thread at a time, pipes by as many as there are. Descriptors are closed on exec, so that no
/// command that another thread starts keeps a pipe open. A closed pipe's fields are null and -1.
///
/// A pipe that is opened again is closed first, and the end of a pipe object closes it. Closing waits for the command
/// to end: one that reads sees the end of its input, one that writes on is ended by SIGPIPE.

/// Reads what a command writes to its standard output.
class TILLVANE_API LPipeIn {
 public:
  std::FILE* stream = nullptr;  ///< What Read() reads from. Not made by `popen`: Close() it, do not `pclose` it.
  int filedes = -1;             ///< Its descriptor.
  int process = -1;             ///< The command, as long as it is not reaped.

  LPipeIn() = default;
  ~LPipeIn();
  LPipeIn(const LPipeIn&) = delete;
  LPipeIn& operator=(const LPipeIn&) = delete;

  /// Starts a command. \return false, and a closed pipe, when it could not be started
  bool _Open(const char* command);

  /// Waits for output and reads at most `length` bytes of it, past what the stream may have read ahead.
  /// \return bytes read. 0 with a `length` that is not: the output has ended or could not be read, the command is
  ///   reaped, the pipe is closed. 0 is also the answer of a closed pipe
  unsigned int Read(void* buffer, unsigned int length);

  /// Closes the pipe, and waits until the command has ended: one that writes on is ended by SIGPIPE.
  void Close();
};

/// Writes what a command reads from its standard input.
class TILLVANE_API LPipeOut {
 public:
  std::FILE* stream = nullptr;  ///< Writes to the command too, in blocks. Close() the pipe, do not `pclose` it.
  int filedes = -1;             ///< Its descriptor.
  int process = -1;             ///< The command, as long as it is not reaped.

  LPipeOut() = default;
  ~LPipeOut();
  LPipeOut(const LPipeOut&) = delete;
  LPipeOut& operator=(const LPipeOut&) = delete;

  /// Starts a command. \return false, and a closed pipe, when it could not be started
  bool _Open(const char* command);

  /// Writes all of it, after what the stream still holds, and waits until the command has room for it.
  /// \return bytes written. Fewer than `length`: the command reads no more, it is reaped, the pipe is closed
  unsigned int Write(const void* buffer, unsigned int length);

  /// Writes what the stream still holds, closes the pipe, and waits until the command has ended.
  void Close();
};

/// Talks to a command: writes its standard input and reads its standard output.
///
/// Neither side is buffered here. Who writes more than a pipe holds (64 KiB) without reading may wait for a command
/// that waits for him.
class TILLVANE_API LPipeInOut {
 public:
  int readFiledes = -1;   ///< The command's standard output.
  int writeFiledes = -1;  ///< The command's standard input.
  int process = -1;       ///< The command, as long as it is not reaped.

  LPipeInOut() = default;
  ~LPipeInOut();
  LPipeInOut(const LPipeInOut&) = delete;
  LPipeInOut& operator=(const LPipeInOut&) = delete;

  /// Starts a command. \return false, and a closed pipe, when it could not be started
  bool _Open(const char* command);

  /// Waits for output and reads at most `length` bytes of it.
  /// \return bytes read. 0 with a `length` that is not: the output has ended or could not be read, or was closed
  ///   before; the read side is closed now, the write side is as it was
  unsigned int Read(void* buffer, unsigned int length);

  /// Writes all of it, and waits until the command has room for it.
  /// \return bytes written. Fewer than `length`: the command reads no more, or the side was closed before; the write
  ///   side is closed now, the read side is as it was
  unsigned int Write(const void* buffer, unsigned int length);

  /// Ends the command's input. What it still writes can be read.
  void CloseWrite();

  /// Closes both sides and reaps the command.
  void Close();
};
