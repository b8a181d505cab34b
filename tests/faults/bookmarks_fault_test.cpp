// Grants when the preferences cannot be opened, and how often the file system is asked. The definitions here take the
// place of the C library's for everything that is linked into this program.

#include <fcntl.h>
#include <stdarg.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <tests/support/faults.h>
#include <tests/support/files.h>
#include <tests/support/made_up_home.h>
#include <tests/support/next_definition.h>
#include <tillvane/files/LPlatformURL.h>
#include <tillvane/files/LSandboxBookmark.h>
#include <tillvane/platform/linux/file_identity_linux.h>
#include <tillvane/platform/preferences.h>

using support::Next;

namespace {

/// What the preferences cannot be opened with; 0 while they can.
int preferences_error = 0;
int stat_calls = 0;

}  // namespace

extern "C" {

int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  if (preferences_error != 0 && std::string(path).ends_with("/preferences")) {
    return support::FailNoted(preferences_error);
  }
  return Next(&open, "open")(path, flags, mode);
}

int statx(int folder, const char* path, int flags, unsigned int mask, struct statx* state) noexcept {
  ++stat_calls;
  return Next(&statx, "statx")(folder, path, flags, mask, state);
}

}  // extern "C"

namespace {

namespace fs = std::filesystem;

using testing::ElementsAre;

constexpr const char* kListKey = "SECURITY_BOOKMARK_KEYS";

class BookmarksFault : public testing::Test {
 protected:
  BookmarksFault() { support::MakeFolder(Granted("")); }
  ~BookmarksFault() override { preferences_error = 0; }

  std::string Granted(const std::string& name) const { return home_.Beside("granted/" + name); }

  void Add(const std::string& name) const {
    support::MakeFile(Granted(name));
    LPlatformURL* const url = LPlatformURLCreate(Granted(name).c_str());
    LSandboxBookmarkManager::AddFilePath(Granted(name).c_str(), url, true, true, name.c_str());
    LPlatformURLRelease(url);
  }

  /// As the next run of the application would: this process has not read the preferences by that name yet.
  void StartAnew() {
    const std::string config = home_.Beside("config");
    support::MakeFolder(config);
    const std::string other = config + std::to_string(++runs_);
    fs::create_directory_symlink(config, other);
    setenv("XDG_CONFIG_HOME", other.c_str(), 1);
  }

  static std::size_t CountItems() {
    std::size_t count = 0;
    const LSandboxBookmarkItem* item = LSandboxBookmarkManager::pInstance->items.head;
    for (; item != nullptr; item = item->next) ++count;
    return count;
  }

  const support::MadeUpHome home_;

 private:
  const support::EnvironmentVariable config_home_{"XDG_CONFIG_HOME", nullptr};
  int runs_ = 0;
};

TEST_F(BookmarksFault, PreferencesThatCannotBeReadForTheMomentLoseNothing) {
  for (const int error : {EMFILE, ENFILE, EIO, EACCES}) {
    fs::remove_all(home_.Beside("config"));
    StartAnew();
    LSandboxBookmarkManager::Create();
    for (const char* name : {"a", "b"}) Add(name);
    LSandboxBookmarkManager::Destroy();
    ASSERT_TRUE(platform::SynchronizePreferences());
    StartAnew();
    preferences_error = error;
    EXPECT_FALSE(platform::ArePreferencesReadable());
    LSandboxBookmarkManager::Create();
    EXPECT_EQ(CountItems(), 0u);
    LSandboxBookmarkManager::Destroy();
    preferences_error = 0;
    ASSERT_TRUE(platform::SynchronizePreferences());
    StartAnew();
    LSandboxBookmarkManager::Create();
    EXPECT_EQ(CountItems(), 2u) << error;
    LSandboxBookmarkManager::Destroy();
    // One that is added before they can be read again comes behind the others.
    StartAnew();
    preferences_error = error;
    LSandboxBookmarkManager::Create();
    Add("c");
    preferences_error = 0;
    LSandboxBookmarkManager::Destroy();
    ASSERT_TRUE(platform::SynchronizePreferences());
    StartAnew();
    EXPECT_THAT(platform::PreferenceTexts(kListKey).value(), ElementsAre("a", "b", "c")) << error;
  }
}

TEST_F(BookmarksFault, PreferencesThatAreNotThereCanBeRead) {
  StartAnew();
  EXPECT_TRUE(platform::ArePreferencesReadable());
}

TEST_F(BookmarksFault, AFolderIsReadOnceForAllItsGrants) {
  constexpr int count = 50;
  StartAnew();
  LSandboxBookmarkManager::Create();
  for (int i = 0; i < count; ++i) Add(std::to_string(i));
  LSandboxBookmarkManager::Destroy();
  // All of them are saved anew, as editors do it.
  for (int i = 0; i < count; ++i) {
    const std::string path = Granted(std::to_string(i));
    support::MakeFile(path + ".new");
    fs::rename(path + ".new", path);
  }
  stat_calls = 0;
  LSandboxBookmarkManager::Create();
  EXPECT_EQ(CountItems(), static_cast<std::size_t>(count));
  EXPECT_GT(stat_calls, count) << "they are not counted";
  EXPECT_LT(stat_calls, 5 * count);
  LSandboxBookmarkManager::Destroy();
}

}  // namespace
