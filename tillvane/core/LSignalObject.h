#pragma once

#include <sys/select.h>

#include <tillvane/export.h>

/// \file
/// Signal objects, which threads and signal handlers set and any number of threads wait for, and groups of them.

/// A copy of a signal object's two descriptors: wait on it, signal it, reset it. It owns nothing and closes nothing.
///
/// Timeouts are milliseconds; 0xFFFFFFFF means no limit. No wait changes the state: what was signalled stays signalled
/// until Reset(). Any thread may signal and any number of threads may wait on one object; one owner resets.
/// A negative or a closed descriptor makes every wait fail at once; a hang-up counts as readable. Descriptors beyond
/// 1023 work in all waits but `Select`, whose set has 1024 bits.
struct TILLVANE_API LSignalObjectRef {
  /// Read end, write end; -1 where there is none.
  int filedes[2]{-1, -1};

  /// Marks the object signalled: one byte of value 1 into the pipe. A full pipe simply stays signalled.
  /// May be called from any thread and from a signal handler; errno is kept. It is no cancellation point.
  void Signal() const noexcept;

  /// Makes the object unsignalled: drains the pipe. Never blocks on a signal object's own pipe.
  void Reset();

  /// Is the object signalled now? Never blocks.
  bool IsSignaled() const;

  /// Waits at most `ms` for the object.
  /// \return true when signalled, or when a signal handler interrupted the wait: look at your own state again.
  bool WaitSignal(unsigned int ms) const;

  /// As WaitSignal, for this object or `other`; it does not say which.
  bool WaitSignalDual(LSignalObjectRef other, unsigned int ms) const;

  /// As WaitSignal, for this object, `a` or `b`; it does not say which.
  bool WaitSignalTriple(LSignalObjectRef a, LSignalObjectRef b, unsigned int ms) const;

  /// One `select` for reading over `set`, which is overwritten with what is ready.
  /// \param highest the highest descriptor in the set, below 1024; anything larger fails.
  /// \param set the descriptors to wait for
  /// \param ms at most so many milliseconds
  /// \return true when something is ready, or when a signal handler interrupted the wait.
  bool Select(int highest, fd_set& set, unsigned int ms) const;
};

/// A manual-reset event that can be waited on together with other descriptors.
///
/// It is a non-blocking pipe, closed on exec: signalled while its read end is readable. It owns the two descriptors and
/// lives as long as any wait uses a copy of them.
class TILLVANE_API LSignalObject : public LSignalObjectRef {
 public:
  /// Opens the pipe. When the process is out of descriptors both ends stay -1, and every wait fails.
  LSignalObject();
  /// Closes both ends: nobody waits for it, or signals it, any more.
  ~LSignalObject();
  LSignalObject(const LSignalObject&) = delete;
  LSignalObject& operator=(const LSignalObject&) = delete;
};

/// Read ends to wait on together: at most 255 members, each a descriptor below 1024.
///
/// Not synchronised: one thread fills a group and waits on it.
class TILLVANE_API LSignalObjectGroup {
 public:
  /// A group without members.
  LSignalObjectGroup();

  /// Adds the read end of `ref`. A full group, and a descriptor that its set cannot hold, are left as they are.
  /// Adding the same descriptor twice counts twice.
  void Add(LSignalObjectRef ref);

  /// Adds the members of `other`, from the lowest descriptor up, as far as they fit.
  void Add(LSignalObjectGroup& other);

  /// Waits at most `ms` milliseconds, 0xFFFFFFFF for no limit. The group is not altered.
  /// \return true when a member is ready; false when the time passed, and when the wait failed or was interrupted.
  bool Select(unsigned int ms) const;

 private:
  friend struct LSignalObjectGroupLayout;
  friend class LThread;

  int SelectInPlace(unsigned int ms);
  bool Has(LSignalObjectRef ref) const;

  fd_set members_;
  int highest_;
  int count_;
};
