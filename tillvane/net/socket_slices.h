#pragma once

/// \file
/// What the waits on sockets have in common.

namespace net {

enum Code : unsigned int { kDone = 0, kStopped = 1, kFailed = 2 };

constexpr unsigned int kSliceMs = 200;

/// The time of a wait, spent in slices.
class SliceBudget {
 public:
  // The sum wraps for the largest times, and so does the difference: those waits take 49 days, and none ends at once.
  explicit SliceBudget(unsigned int ms) : left_(ms + kSliceMs) {}

  /// Notes a slice in which nothing happened. \return is there time for another one?
  bool SpendSlice() {
    left_ -= kSliceMs;
    return left_ > kSliceMs;
  }

 private:
  unsigned int left_;
};

}  // namespace net
