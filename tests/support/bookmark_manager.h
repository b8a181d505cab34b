#pragma once

#include <string>

#include <gtest/gtest.h>

#include <tests/support/made_up_home.h>
#include <tests/support/scripted_grants.h>
#include <tillvane/files/LPlatformURL.h>
#include <tillvane/files/LSandboxBookmark.h>

namespace support {

/// A manager of scripted grants, and a home of the test's own, outside of which grants are needed.
class BookmarkManagerTest : public testing::Test {
 protected:
  ~BookmarkManagerTest() override {
    if (is_created_) Destroy();
    EXPECT_EQ(grants_.urls, 0) << "references were lost";
  }

  /// The process's manager. \return it
  LSandboxBookmarkManager& Create() {
    LSandboxBookmarkManager::Create();
    is_created_ = true;
    return *LSandboxBookmarkManager::pInstance;
  }
  void Destroy() {
    LSandboxBookmarkManager::Destroy();
    is_created_ = false;
  }

  /// Adds a grant; the manager has the only reference.
  void Add(const std::string& path, bool save_to_settings = false, const char* key = "key") {
    LPlatformURL* const url = LPlatformURLCreate(path.c_str());
    LSandboxBookmarkManager::pInstance->InstanceAddFilePath(path.c_str(), url, save_to_settings, true, key);
    LPlatformURLRelease(url);
  }

  Texts StoredKeys() const {
    const auto place = grants_.preferences.find("SECURITY_BOOKMARK_KEYS");
    return place != grants_.preferences.end() ? std::get<Texts>(place->second) : Texts{"nothing stored"};
  }
  Texts Keys() const {
    const auto all = LSandboxBookmarkManager::pInstance->keys->All();
    return {all.begin(), all.end()};
  }
  /// The paths of all items, the newest first.
  static Texts Paths() {
    Texts paths;
    const LSandboxBookmarkItem* item = LSandboxBookmarkManager::pInstance->items.head;
    for (; item != nullptr; item = item->next) paths.emplace_back(item->path);
    return paths;
  }

  const MadeUpHome home_;
  ScriptedGrants grants_;

 private:
  bool is_created_ = false;
};

}  // namespace support
