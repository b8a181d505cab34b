#include <tillvane/platform/preferences.h>

#include <pthread.h>
#include <signal.h>

#include <map>
#include <mutex>
#include <new>
#include <utility>

#include <tillvane/platform/linux/known_folders_linux.h>
#include <tillvane/platform/linux/never_destroyed_linux.h>
#include <tillvane/platform/linux/preference_store_linux.h>
#include <tillvane/platform/linux/signals_blocked_linux.h>
#include <tillvane/platform/main_bundle.h>

namespace platform {

namespace {

/// All that this process has used: a host that moves to another home has other preferences there.
class PreferenceStores {
 public:
  PreferenceStore& Current() {
    std::string folder = ConfigurationFolder() + '/' + MainBundleName();
    const UninterruptedLock guard(mutex_);
    return stores_.try_emplace(folder, folder).first->second;
  }

  void Save() {
    const UninterruptedLock guard(mutex_);
    for (auto& [folder, store] : stores_) {
      if (store.HasChanges()) store.Synchronize();
    }
  }

  void LockForFork() {
    const sigset_t before = BlockSignals();
    mutex_.lock();
    before_fork_ = before;
    for (auto& [folder, store] : stores_) store.LockForFork();
  }
  void UnlockAfterFork() {
    const sigset_t before = before_fork_;
    for (auto& [folder, store] : stores_) store.UnlockAfterFork();
    mutex_.unlock();
    RestoreSignals(before);
  }
  void LeaveChangesToParent() {
    for (auto& [folder, store] : stores_) store.LeaveChangesToParent();
  }

 private:
  std::mutex mutex_;
  sigset_t before_fork_ = {};  ///< the signals of the thread that forks
  std::map<std::string, PreferenceStore> stores_;
};

NeverDestroyed<PreferenceStores> stores;

// When the library is loaded: a fork during the first use would find the registration half done.
[[maybe_unused]] const int is_ready_for_forks =
    pthread_atfork([] { stores.Get().LockForFork(); }, [] { stores.Get().UnlockAfterFork(); },
                   [] {
                     stores.Get().LeaveChangesToParent();
                     stores.Get().UnlockAfterFork();
                   });

/// When the library goes, after all that the host runs at its end: its last objects may still change something.
[[gnu::destructor]] void SaveAtTheEnd() {
  try {
    stores.Get().Save();
  } catch (const std::bad_alloc&) {
    // There is nobody left to tell.
  }
}

std::optional<PreferenceValue> Value(const char* key) { return stores.Get().Current().Value(key); }

template <class Kind>
std::optional<Kind> ValueOf(const char* key) {
  std::optional<PreferenceValue> value = Value(key);
  Kind* const held = value ? std::get_if<Kind>(&*value) : nullptr;
  return held != nullptr ? std::optional(std::move(*held)) : std::nullopt;
}

void Change(const char* key, std::optional<PreferenceValue> value) {
  stores.Get().Current().Change(key, std::move(value));
}

}  // namespace

bool ArePreferencesReadable() { return stores.Get().Current().IsReadable(); }

bool HasPreference(const char* key) { return Value(key).has_value(); }

std::optional<std::string> PreferenceText(const char* key) { return ValueOf<std::string>(key); }

std::optional<std::vector<std::string>> PreferenceTexts(const char* key) {
  return ValueOf<std::vector<std::string>>(key);
}

std::optional<std::vector<unsigned char>> PreferenceData(const char* key) {
  return ValueOf<std::vector<unsigned char>>(key);
}

void SetPreferenceText(const char* key, const std::string& text) { Change(key, text); }

void SetPreferenceTexts(const char* key, const std::vector<std::string>& texts) { Change(key, texts); }

void SetPreferenceData(const char* key, const std::vector<unsigned char>& data) { Change(key, data); }

void RemovePreference(const char* key) { Change(key, std::nullopt); }

bool SynchronizePreferences() { return stores.Get().Current().Synchronize(); }

}  // namespace platform
