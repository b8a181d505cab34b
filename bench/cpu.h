#pragma once

/// \file
/// Where threads run.

#include <vector>

namespace bench {

/// The processors that this process may use, in ascending order.
std::vector<int> AllowedCpus();

/// Keeps the calling thread on one processor for as long as this lives; destroyed by the same thread.
class Pinned {
 public:
  explicit Pinned(int cpu);
  ~Pinned();
  Pinned(const Pinned&) = delete;
  Pinned& operator=(const Pinned&) = delete;

  /// Did the system refuse?
  bool HasFailed() const { return failed_; }

 private:
  std::vector<int> before_;
  bool failed_;
};

/// Lets the calling thread go ahead of other processes for as long as this lives, where the system allows that. Threads
/// that it starts meanwhile get no such right.
class AheadOfOthers {
 public:
  AheadOfOthers();
  ~AheadOfOthers();
  AheadOfOthers(const AheadOfOthers&) = delete;
  AheadOfOthers& operator=(const AheadOfOthers&) = delete;

  bool IsAllowed() const { return allowed_; }

 private:
  bool allowed_;
};

}  // namespace bench
