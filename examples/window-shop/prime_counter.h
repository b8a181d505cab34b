#pragma once

#include <tillvane/tillvane.h>

namespace window_shop {

/// A worker thread: it counts primes, and what it reports arrives on the main thread, whatever loop runs there, at the
/// process interface that shows it: SetProgress from 0 to 1, and SetStatus in words at the end.
class PrimeCounter final : public LThreadNotifyInterface {
 public:
  /// \param shown lives longer than this
  explicit PrimeCounter(LProcessInterface& shown) : LThreadNotifyInterface(&shown) {}
  /// Main thread only. Nothing of this worker arrives afterwards.
  ~PrimeCounter() override;

  void ThreadFunction() override;
};

}  // namespace window_shop
