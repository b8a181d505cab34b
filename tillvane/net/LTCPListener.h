#pragma once

#include <atomic>

#include <tillvane/core/LThread.h>
#include <tillvane/export.h>
#include <tillvane/net/LIPSocket.h>

/// \file
/// A thread that serves TCP connections.

/// A thread that accepts TCP connections on a port of every local IPv4 address and serves them, one at a time.
///
/// A port that cannot be had is tried again every 30 seconds until the thread is asked to stop; so is one that was
/// lost, because accepting a connection has failed or a signal handler has interrupted the wait for one. Neither is
/// reported: BoundPort() tells. The pause is a ProcessWait() of the thread itself; whatever ends that pause early ends
/// the thread. A stop request is heard at once while the thread waits, and after ProcessConnection() has returned. A
/// connection that is waiting when the request comes may still be served.
///
/// Without descriptors when it is built (EMFILE) the thread ends as soon as it is started.
///
/// Whoever derives from it calls StopThreadAndWait() in the destructor: when ~LTCPListener runs, the derived object is
/// gone, and nobody is left to serve a connection that is accepted meanwhile.
class TILLVANE_API LTCPListener : public LThread {
 public:
  /// A listener that is not started yet.
  /// \param port as a plain number; 0 for one that the system chooses, anew each time, see BoundPort()
  explicit LTCPListener(unsigned short port);

  /// Asks the thread to stop, if it runs, and waits until it has ended. Not on the thread itself.
  ~LTCPListener() override;

  /// Accepts and serves until it is asked to stop.
  void ThreadFunction() override;

  /// Serves one connection, on the listener's thread: this object is the LProcessInterface for what it sends and
  /// receives, so that a stop request reaches it. The next connection waits until it returns.
  /// \param socket non-blocking and closed on exec; closed afterwards unless it was released
  virtual void ProcessConnection(LIPSocketTCP& socket) = 0;

  /// Nothing calls it.
  virtual void ListenerReserved() = 0;

  /// The port on which connections are accepted now, 0 while there is none. Any thread.
  unsigned short BoundPort() const { return bound_port_.load(); }

 private:
  friend struct LTCPListenerLayout;

  void ListenAndServe();
  LIPSocketTCP Listen();
  bool WaitForConnection(int listening);
  void Serve(int listening);

  const unsigned short port_;
  std::atomic<unsigned short> bound_port_{0};
};
