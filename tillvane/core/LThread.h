#pragma once

#include <pthread.h>

#include <atomic>

#include <tillvane/core/LProcessInterface.h>
#include <tillvane/core/LSignalObject.h>
#include <tillvane/export.h>

/// \file
/// Threads that can be asked to stop.

/// A thread that runs one function and can be asked to stop: everything that waits or works through it as its
/// LProcessInterface then ends early.
///
/// One object may be started again after its function returned; it keeps its six descriptors until it is destroyed. A
/// thread that ends by itself gives back its stack; nobody has to join it. The functions may be called from any thread
/// unless they say otherwise. Times are milliseconds, 0xFFFFFFFF in the two waits for signals is no limit.
///
/// Whoever derives from it and has members that the function uses calls StopThreadAndWait() in the destructor: when
/// ~LThread runs, those members are gone already.
class TILLVANE_API LThread : public LProcessInterface {
 public:
  /// No thread runs yet. Without descriptors (EMFILE) a started thread works, but its waits fail.
  LThread();
  /// The name is not used.
  explicit LThread(const char* name);
  LThread(const LThread&) = delete;
  LThread& operator=(const LThread&) = delete;

  /// Was the thread asked to stop since it was started? Costs a load from memory until it was. Any thread.
  bool IsToStop() override;

  /// Pauses until the thread has ended or is asked to stop. For the thread itself: a pause that a stop request ends.
  /// \return true when one of both came (or an interruption), false when the time passed, or at once when it failed
  bool ProcessWait(unsigned int ms) override;

  /// Waits for a signal object.
  /// \return 0 signalled; 1 asked to stop, also when both came; 2 the time passed, or the wait failed or was
  /// interrupted
  int ProcessWaitSignal(LSignalObjectRef signal, unsigned int ms) override;

  /// Waits for any member of a group, in place: afterwards the group has the thread's stop signal as a further member,
  /// and only those that were ready. Rebuild it before the next wait. A group that has 255 members already, and a stop
  /// signal that it cannot hold (a descriptor beyond 1023), make this wait deaf to stop requests.
  /// \return as ProcessWaitSignal
  int ProcessWaitSignalObjectGroup(LSignalObjectGroup& group, unsigned int ms) override;

  /// Asks the thread to stop, if there is one, and waits until it has ended. Not on the thread itself.
  virtual ~LThread();

  /// What the thread does. It returns soon after IsToStop() became true.
  virtual void ThreadFunction() = 0;

  /// Starts the thread, unless it runs: forgets earlier stop requests, and returns when the thread is there and has its
  /// priority. It waits for that through ProcessWaitSignal(), holding a lock that a detached thread's owner takes too:
  /// an override does not call that owner. A thread that could not be made is not reported: after it JoinThread()
  /// returns and EndedSignal() is not signalled.
  /// \param priority as SetPriority; whether it could be given is not reported either
  /// \return 0
  int Start(int priority);

  /// Gives the running thread a priority: 31 is the system's ordinary one, one more is one nice step better, one less
  /// one worse. 91 makes it a real-time thread of the lowest rank; where the user has no such right RealtimeKit is
  /// asked, which takes up to half a second and may lower the process's own limit of real time.
  /// \return 0, an error number of the system, or ESRCH when the thread does not run
  int SetPriority(int priority);

  /// Asks the thread to stop. A request before Start() is forgotten by it. May be called from a signal handler.
  void StopThreadSoon();

  /// Asks the thread to stop, if it runs, and waits until it has ended. Not on the thread itself.
  void StopThreadAndWait();

  /// Waits until the thread has ended by itself; returns at once when none runs. Not on the thread itself.
  void JoinThread();

  /// Was the thread started, and has its function not returned yet?
  bool IsRunning() const { return running_.load(); }

  /// Signalled from the moment when the function has returned until the next start. For waiting only.
  LSignalObjectRef EndedSignal() const { return ended_; }

 protected:
  /// Signalled from a stop request until the next start: for a thread that waits for more than its own waits can. For
  /// waiting only.
  LSignalObjectRef StopSignal() const { return stop_; }

 private:
  friend struct LThreadLayout;
  friend class LDetachedThread;
  friend class LDetachedThreadsOwner;

  /// A running thread that somebody is going to wait for: `run` is 0 when there was none, and `handle` when somebody
  /// else joins it.
  struct Taken {
    pthread_t handle = 0;
    unsigned int run = 0;
    bool is_asked_to_stop = false;
  };

  static void* ThreadCallback(void* data);
  int Create(void* (*entry)(void*));
  void ForgetSignals();
  void Run();
  void EndLocked();
  Taken Take(bool asks_to_stop);
  void Join(const Taken& taken);
  void WaitForStart();

  // What says that the thread runs is guarded by the state lock, and cleared by the thread itself. Whoever is going to
  // join it marks it as taken before; a thread that nobody has taken detaches itself.
  pthread_t handle_ = 0;
  unsigned int port_;
  int priority_ = 0;
  std::atomic<bool> running_{false};
  // In the room that is left before the signals.
  std::atomic<bool> stop_requested_{false};
  bool taken_ = false;
  LSignalObject stop_;
  LSignalObject ended_;
  LSignalObject started_;
  pthread_mutex_t start_lock_;
  pthread_mutex_t state_lock_;
  pthread_cond_t state_changed_;
  unsigned int run_ = 0;  ///< counts the threads that this object has had
  int requests_ = 0;      ///< stop requests for the present thread that are being made
};

/// Is the calling thread the one that the process began with? Any thread.
TILLVANE_API bool LIsMainThread();
