#include <unistd.h>

#include <array>
#include <cstdio>

#include "files.h"
#include "tasks.h"

namespace soak {

namespace {

constexpr std::array<const char*, 3> kKeys = {"SOAK_ONE", "SOAK_TWO", "SOAK_THREE"};

/// The manager of the process, as one run of a program has it.
class Manager {
 public:
  Manager() { LSandboxBookmarkManager::Create(); }
  ~Manager() { LSandboxBookmarkManager::Destroy(); }
  Manager(const Manager&) = delete;
  Manager& operator=(const Manager&) = delete;

  LSandboxBookmarkManager* operator->() const { return LSandboxBookmarkManager::pInstance; }
};

class RecordTask final : public Task {
 public:
  RecordTask(std::string outside, std::string temporary)
      : outside_(std::move(outside)), marker_(temporary + "/_tillvane_rl_soak") {}

  void Round(LProcessInterface&) override {
    KeepGrants();
    FindGrants();
    FollowRenamed();
    LeaveMarker();
  }

 private:
  std::string File(const char* key) const { return outside_ + '/' + key; }

  void KeepGrants() const {
    for (const char* const key : kKeys) {
      if (!IsThere(File(key))) WriteFile(File(key), key);
    }
    const Manager manager;
    for (const char* const key : kKeys) {
      const std::string path = File(key);
      if (manager->InstanceGetItem(path.c_str()) != nullptr) continue;
      LPlatformURL* const url = LPlatformURLCreate(path.c_str());
      LSandboxBookmarkManager::AddFilePath(path.c_str(), url, true, true, key);
      LPlatformURLRelease(url);
      const LSandboxBookmarkItem* const item = manager->InstanceGetItem(path.c_str());
      Require(item != nullptr && item->persisted, "a grant is kept");
    }
  }

  void FindGrants() const {
    const Manager manager;
    for (const char* const key : kKeys) {
      const LSandboxBookmarkItem* const item = manager->InstanceGetItem(File(key).c_str());
      Require(item != nullptr && item->accessing && std::string(item->key) == key, "a kept grant is found");
    }
    LSandboxBookmarkManager::StopAccessingSecurityScopedResource(File(kKeys[0]).c_str());
    Require(manager->keys->Count() == kKeys.size(), "there are as many keys as grants");
    manager->InstanceSaveBookmarksToFile();
  }

  /// A file is found again under its new name.
  void FollowRenamed() const {
    const std::string path = File(kKeys[0]), renamed = path + "-renamed";
    Require(std::rename(path.c_str(), renamed.c_str()) == 0, "a granted file is renamed");
    const bool is_found = Manager()->InstanceGetItem(renamed.c_str()) != nullptr;
    Require(std::rename(renamed.c_str(), path.c_str()) == 0, "a granted file is renamed back");
    Require(is_found, "a granted file is found under its new name");
  }

  void LeaveMarker() const {
    LHangDetector run;
    run.InitAndTest();
    Require(!run.FoundUncleanEnd() && IsThere(marker_), "a run leaves its marker");
    run.Destroy();
    Require(!IsThere(marker_), "a clean end deletes the marker");
    // What a crash leaves.
    WriteFile(marker_, std::string(8, '\0'));
    run.InitAndTest();
    Require(run.FoundUncleanEnd() && !IsThere(marker_), "the next run finds an unclean end");
    run.Destroy();
  }

  const std::string outside_, marker_;
};

}  // namespace

std::unique_ptr<Task> MakeRecordTask(const std::string& outside, const std::string& temporary) {
  return std::make_unique<RecordTask>(outside, temporary);
}

}  // namespace soak
