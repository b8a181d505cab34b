#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>

#include <tillvane/platform/linux/preferences_file_linux.h>

namespace platform {

/// The preferences of one file as this process sees them: what was read, and over it what was changed here and is not
/// on the disk yet. Any thread; nobody who reads or changes a value waits for a writer, but a fork does. Nothing here
/// is interrupted by a signal: its handler runs afterwards, and may end the process, which saves what is left.
class PreferenceStore {
 public:
  /// Nothing is read or made before the first call.
  explicit PreferenceStore(std::string folder);
  PreferenceStore(const PreferenceStore&) = delete;
  PreferenceStore& operator=(const PreferenceStore&) = delete;

  std::optional<PreferenceValue> Value(const std::string& key);
  /// Could the file be read, now or before? One that is not there can.
  bool IsReadable();
  /// \param value none removes it
  void Change(const std::string& key, std::optional<PreferenceValue> value);

  /// Writes the changes, if there are any, and reads what others wrote. \param wait_ms at most so long for others
  /// \return false when the disk is as it was, or when it is not sure that what was written outlives a loss of power;
  ///   the changes are kept
  bool Synchronize(int wait_ms = kLockWaitMs);
  /// Is there anything to write?
  bool HasChanges();

  /// Around a fork, so that the child finds no lock taken that nobody will give back, and has no descriptor of a save.
  /// Signals are blocked meanwhile, which is up to the caller.
  void LockForFork();
  void UnlockAfterFork();
  /// In the child, before that: what its parent has not saved is the parent's to save. The child sees it until it
  /// synchronises; writing it too could put an old value over a newer one of the parent's.
  void LeaveChangesToParent();

 private:
  static constexpr int kLockWaitMs = 5000;
  static constexpr unsigned long long kParents = 0;

  struct ChangedValue {
    std::optional<PreferenceValue> value;
    unsigned long long number;  ///< they are counted; kParents for one that is not this process's to save
  };
  using Changes = std::map<std::string, ChangedValue>;

  void Load();
  Changes OwnChanges(unsigned long long* newest);

  const PreferencesFile file_;
  std::mutex saving_;  ///< taken before the other one
  std::mutex mutex_;
  PreferenceValues saved_;
  bool is_loaded_ = false;
  Changes changes_;
  unsigned long long newest_change_ = kParents;
};

}  // namespace platform
