#pragma once

#include <sys/un.h>

#include <atomic>

#include <tillvane/export.h>

/// \file
/// A signal from one process to another by a name.

/// A signal from one process to another of the same user, by a name that both know.
///
/// The name becomes the path of a socket in the user's data folder. One process waits: it listens there, and the first
/// connection is the signal. The other one signals: it connects. Nobody remembers a signal: one that comes while nobody
/// waits is lost.
///
/// An object waits once. The socket's file stays where it is until an object that received a signal is destroyed; as
/// long as it is there, also as the remains of a process that was killed or of a wait that failed, every further wait
/// fails. A host that starts deletes what an earlier run of its own left.
///
/// One thread waits, resets and destroys; any thread may signal. Nothing here may be called in a signal handler. A
/// thread may be cancelled while it waits or signals. The order of the first two fields is part of the binary
/// interface.
class TILLVANE_API LSignalObjectNamed {
 public:
  /// Neither waits nor signals yet, and opens nothing.
  /// \param name of a file in the user's data folder, not null. With that folder it may have as many bytes as a local
  ///   socket's address has room for, less one: 107 on Linux. Of a longer one no wait succeeds and no signal is sent.
  explicit LSignalObjectNamed(const char* name);

  /// Closes what is open. Of an object that received a signal it also deletes the socket's file.
  ~LSignalObjectNamed();
  LSignalObjectNamed(const LSignalObjectNamed&) = delete;
  LSignalObjectNamed& operator=(const LSignalObjectNamed&) = delete;

  /// Waits for a signal. No other user but the administrator can send one: the socket's file is the owner's alone.
  /// \param ms is no limit: when so many milliseconds have passed without a signal, it waits for one without any
  /// \return false, with errno, when it cannot listen: where something lies at the path (EADDRINUSE), when the name is
  ///   too long (ENAMETOOLONG), without the folder; and when a signal handler interrupted it (EINTR)
  bool WaitSignal(unsigned int ms);

  /// Signals whoever waits by this name in any process; does nothing when nobody does. It keeps a connection open until
  /// the next call, or until it is destroyed. Where many signal at once it waits until there is room for its
  /// connection.
  void Signal();

  /// Takes away what the signal that was received has left to read. Never blocks.
  void Reset();

 private:
  friend struct LSignalObjectNamedLayout;

  sockaddr_un address_;  ///< the path is empty when it would be too long
  int connection_ = -1;  ///< the one that was accepted as the signal
  std::atomic<int> client_{-1};
};
