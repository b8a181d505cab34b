#pragma once

#include <string>

namespace platform {

/// An instance's place among all that use a ledger: locks on single bytes of a file beside it.
///
/// An instance holds the byte of its own number from its beginning to its end, whichever way it ends, so that others
/// can tell; process ids would be given again. Byte 0 is shared by all that have the ledger open. The locks belong to
/// the open file: two instances in one process are two, and a forked child that still holds the file keeps its
/// parent's instance alive.
class LedgerLock {
 public:
  explicit LedgerLock(std::string path);
  ~LedgerLock();
  LedgerLock(const LedgerLock&) = delete;
  LedgerLock& operator=(const LedgerLock&) = delete;

  /// Once, before all else.
  /// \param number of the instance; 0 for a new one
  /// \return false with one line in `error` that names the file
  bool Open(long long number, std::string* error);

  long long Number() const { return number_; }
  /// Does the file still stand under its name, where other instances look?
  bool IsInPlace() const;
  bool IsAlive(long long number) const;

  /// From now on the ledger is open here; waits at most so long for an instance that has it alone.
  bool Share(int timeout_ms, std::string* error);
  /// Only with true: no other instance has the ledger open, and none will until Leave().
  bool TakeAlone();
  void Leave();

 private:
  bool TakeNumber(long long number);
  bool LockByte(long long byte, short kind) const;

  std::string path_;
  int file_ = -1;
  long long number_ = 0;
};

}  // namespace platform
