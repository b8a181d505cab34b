#pragma once

#include <tillvane/tillvane.h>

#include <atomic>

namespace worker {

/// The work that the workers share: blocks of numbers, which each of them takes one after the other.
class Blocks {
 public:
  static constexpr unsigned int kNumbers = 10000;

  explicit Blocks(unsigned int below) : below_(below), count_((below + kNumbers - 1) / kNumbers) {}

  /// Any thread. \return false when none is left
  bool TakeNext(unsigned int* first, unsigned int* end);
  /// Any thread. \return how much of the whole has been done, from 0 to 1
  double NoteDone() { return static_cast<double>(++done_) / count_; }

  unsigned int Count() const { return count_; }

 private:
  const unsigned int below_, count_;
  std::atomic<unsigned int> next_{0}, done_{0};
};

/// What has been found. Only the main thread touches it, so it needs no lock.
struct Tally {
  unsigned int blocks = 0;
  unsigned int primes = 0;
};

/// Counts the primes of the blocks that it takes.
///
/// It reports through itself: SetStatus and SetProgress, called on the worker's thread, arrive on the main thread. The
/// count of each block is sent there as a piece of work.
class PrimeWorker final : public LThreadNotifyInterface {
 public:
  /// \param screen gets the reports; it, the blocks and the tally live longer than this
  PrimeWorker(unsigned int number, LProcessInterface& screen, Blocks& blocks, Tally& tally);
  /// Main thread only. Nothing of this worker arrives afterwards.
  ~PrimeWorker() override;

  void ThreadFunction() override;

 private:
  const unsigned int number_;
  Blocks& blocks_;
  Tally& tally_;
  LThreadRunOnMainThread to_main_thread_;
};

}  // namespace worker
