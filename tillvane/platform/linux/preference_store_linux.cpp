#include <tillvane/platform/linux/preference_store_linux.h>

#include <utility>

#include <tillvane/platform/linux/signals_blocked_linux.h>

namespace platform {

PreferenceStore::PreferenceStore(std::string folder) : file_(std::move(folder)) {}

std::optional<PreferenceValue> PreferenceStore::Value(const std::string& key) {
  const UninterruptedLock guard(mutex_);
  if (const auto changed = changes_.find(key); changed != changes_.end()) return changed->second.value;
  Load();
  const auto saved = saved_.find(key);
  return saved != saved_.end() ? std::optional(saved->second) : std::nullopt;
}

bool PreferenceStore::IsReadable() {
  const std::lock_guard guard(mutex_);
  Load();
  return is_loaded_;
}

void PreferenceStore::Change(const std::string& key, std::optional<PreferenceValue> value) {
  const UninterruptedLock guard(mutex_);
  // Also what is on the disk already: somebody else may be about to change it.
  changes_.insert_or_assign(key, ChangedValue{std::move(value), ++newest_change_});
}

/// A file that cannot be read now is tried again the next time.
void PreferenceStore::Load() {
  if (!is_loaded_) is_loaded_ = file_.Read(&saved_);
}

PreferenceStore::Changes PreferenceStore::OwnChanges(unsigned long long* newest) {
  const UninterruptedLock guard(mutex_);
  *newest = newest_change_;
  Changes changes;
  for (const auto& change : changes_) {
    if (change.second.number != kParents) changes.insert(change);
  }
  return changes;
}

bool PreferenceStore::HasChanges() {
  unsigned long long newest = 0;
  return !OwnChanges(&newest).empty();
}

bool PreferenceStore::Synchronize(int wait_ms) {
  const UninterruptedLock saving(saving_);
  unsigned long long newest = 0;
  const Changes changes = OwnChanges(&newest);
  const auto apply = [&](PreferenceValues& values) {
    for (const auto& [key, change] : changes) {
      if (change.value) {
        values.insert_or_assign(key, *change.value);
      } else {
        values.erase(key);
      }
    }
  };
  PreferenceValues values;
  if (changes.empty() ? !file_.Read(&values) : !file_.Change(apply, wait_ms, &values)) return false;
  const UninterruptedLock guard(mutex_);
  saved_ = std::move(values);
  is_loaded_ = true;
  // What another thread changed meanwhile has a higher number.
  std::erase_if(changes_, [&](const auto& change) { return change.second.number <= newest; });
  return true;
}

void PreferenceStore::LockForFork() {
  saving_.lock();
  mutex_.lock();
}

void PreferenceStore::UnlockAfterFork() {
  mutex_.unlock();
  saving_.unlock();
}

void PreferenceStore::LeaveChangesToParent() {
  for (auto& [key, change] : changes_) change.number = kParents;
}

}  // namespace platform
