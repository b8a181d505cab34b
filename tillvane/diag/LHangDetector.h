#pragma once

#include <tillvane/export.h>

/// \file
/// Did this program's last run end as it should?

/// Tells at a program's start whether its last run ended uncleanly: it crashed, was killed, or the power went.
///
/// A run leaves a marker in the temporary folder, "_tillvane_rl_" with the user's login name ($LOGNAME, else $USER,
/// else nothing), holds it locked, and deletes it at a clean end. A marker that nobody holds is what an unclean end
/// left. It guards nothing and prevents nothing.
///
/// There is one marker for a user. A second instance finds it locked and leaves it alone; but its clean end deletes it,
/// so that the first one leaves no trace then. A marker belongs to the user, in eight bytes that nobody else reads; a
/// link, and what another user put there, is neither followed nor read nor deleted. There is no marker for a login name
/// with a '/' in it, which could lead out of the temporary folder, nor where the folder's path leaves no room for the
/// marker's name; a long login name is cut.
///
/// Nothing is reported, and every failure means that there is no marker. Used by one thread, not in a signal handler. A
/// child that was forked without an exec holds its parent's marker too, and deletes it unless it leaves with `_exit`.
class TILLVANE_API LHangDetector {
 public:
  LHangDetector() = default;
  /// Destroy(): for the global one, when the library is unloaded or the program exits.
  ~LHangDetector();
  LHangDetector(const LHangDetector&) = delete;
  LHangDetector& operator=(const LHangDetector&) = delete;

  /// Leaves this run's marker, where there is none. A marker that nobody holds is deleted, and this run then has none
  /// of its own until it is called once more. A marker that this object holds is given up first: it is then found, and
  /// deleted, like one of an unclean end.
  void InitAndTest();

  /// The clean end: deletes the marker, whosever of the user's runs it is, and gives the lock back. Nothing happens
  /// before InitAndTest(), or when it is called again.
  void Destroy();

  /// Did the last InitAndTest() find what an unclean end left?
  bool FoundUncleanEnd() const { return found_unclean_end_; }

  /// When the run of that unclean end began, in seconds since 1970; 0 when there was none, or when its marker does not
  /// say, as after a power cut.
  unsigned int StaleStartTime() const { return stale_start_time_; }

 private:
  friend struct LHangDetectorLayout;

  void TakeStaleMarker();

  char path_[260] = "";
  int descriptor_ = -1;
  bool found_unclean_end_ = false;
  unsigned int stale_start_time_ = 0;
};

/// The library's own.
extern TILLVANE_API LHangDetector gLHangDetector;

/// InitAndTest() of gLHangDetector: what a program does when it starts.
TILLVANE_API void LDebugHangDetectorInit();

/// Destroy() of gLHangDetector. A program that ends by `exit`, or returns from main, need not call it.
TILLVANE_API void LDebugHangDetectorDestroy();
