#include <tillvane/platform/linux/preference_store_linux.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/background.h>
#include <tests/support/files.h>
#include <tests/support/temp_folder.h>
#include <tests/support/waiting.h>

namespace {

namespace fs = std::filesystem;

using platform::PreferenceStore;
using platform::PreferenceValue;
using support::Contents;
using support::MakeFile;

constexpr int kShortMs = 100;

std::string Shown(const std::optional<PreferenceValue>& value) {
  const std::string* const text = value ? std::get_if<std::string>(&*value) : nullptr;
  if (text != nullptr) return *text;
  return value ? "another kind" : "none";
}

class PreferenceStoreTest : public testing::Test {
 protected:
  PreferenceStoreTest() { MakeFile(top_.File("before"), ""); }

  std::string Folder() const { return top_.File("config/app"); }
  std::string Path() const { return Folder() + "/preferences"; }
  std::string OnDisk(const std::string& key) const { return Shown(PreferenceStore(Folder()).Value(key)); }

  /// Sets one value and writes it.
  bool Save(const std::string& key, const std::string& value) const {
    PreferenceStore store(Folder());
    store.Change(key, value);
    return store.Synchronize(kShortMs);
  }
  void MakePreferences(const std::string& text) const {
    support::MakeFolder(Folder());
    MakeFile(Path(), text);
  }
  std::set<std::string> Names() const { return support::Tree(Folder()); }

  const support::TempFolder top_;
};

TEST_F(PreferenceStoreTest, AValueIsSeenAtOnceAndIsOnTheDiskLater) {
  PreferenceStore store(Folder());
  EXPECT_EQ(Shown(store.Value("a")), "none");
  store.Change("a", "1");
  EXPECT_EQ(Shown(store.Value("a")), "1");
  EXPECT_FALSE(support::IsThere(top_.File("config"))) << "nothing is made to look or to change";
  EXPECT_TRUE(store.HasChanges());
  EXPECT_TRUE(store.Synchronize());
  EXPECT_FALSE(store.HasChanges());
  EXPECT_EQ(OnDisk("a"), "1");
  store.Change("a", std::nullopt);
  EXPECT_EQ(Shown(store.Value("a")), "none");
  EXPECT_EQ(OnDisk("a"), "1");
  EXPECT_TRUE(store.Synchronize());
  EXPECT_EQ(OnDisk("a"), "none");
  EXPECT_EQ(Shown(store.Value("a")), "none");
}

TEST_F(PreferenceStoreTest, WithoutAChangeNothingIsWritten) {
  PreferenceStore store(Folder());
  EXPECT_TRUE(store.Synchronize());
  EXPECT_FALSE(support::IsThere(top_.File("config")));
}

TEST_F(PreferenceStoreTest, EverythingIsTheUsersAloneWhateverTheUmask) {
  const mode_t umask_before = umask(0);
  EXPECT_TRUE(Save("a", "1"));
  MakeFile(Path(), "damaged");
  EXPECT_TRUE(Save("a", "1"));
  umask(umask_before);
  for (const char* name : {"config", "config/app"}) EXPECT_EQ(support::Mode(top_.File(name)), 0700U) << name;
  const std::set<std::string> names{"preferences", "preferences.broken", "preferences.lock"};
  EXPECT_EQ(Names(), names);
  for (const std::string& name : names) EXPECT_EQ(support::Mode(Folder() + '/' + name), 0600U) << name;
}

TEST_F(PreferenceStoreTest, AHomeThatIsGoneIsNotMadeAgain) {
  PreferenceStore store(top_.File("home/.config/app"));
  store.Change("a", "1");
  EXPECT_FALSE(store.Synchronize());
  EXPECT_FALSE(support::IsThere(top_.File("home")));
  EXPECT_TRUE(store.HasChanges());
}

TEST_F(PreferenceStoreTest, OfTwoWritersNeitherLosesItsKeys) {
  PreferenceStore one(Folder()), other(Folder());
  one.Change("a", "1");
  other.Change("b", "2");
  one.Change("c", "one's");
  other.Change("c", "other's");
  EXPECT_TRUE(one.Synchronize());
  EXPECT_EQ(Shown(other.Value("c")), "other's");
  EXPECT_TRUE(other.Synchronize());
  for (PreferenceStore* store : {&one, &other}) EXPECT_TRUE(store->Synchronize());
  for (PreferenceStore* store : {&one, &other}) {
    EXPECT_EQ(Shown(store->Value("a")), "1");
    EXPECT_EQ(Shown(store->Value("b")), "2");
    EXPECT_EQ(Shown(store->Value("c")), "other's") << "the last one";
  }
  // What was written once is not written again.
  other.Change("a", std::nullopt);
  EXPECT_TRUE(other.Synchronize());
  one.Change("d", "4");
  EXPECT_TRUE(one.Synchronize());
  EXPECT_EQ(Shown(one.Value("a")), "none");
  EXPECT_EQ(OnDisk("a"), "none");
}

TEST_F(PreferenceStoreTest, AValueThatIsSetAgainIsWrittenAgain) {
  PreferenceStore one(Folder()), other(Folder());
  one.Change("a", "1");
  EXPECT_TRUE(one.Synchronize());
  other.Change("a", "2");
  EXPECT_TRUE(other.Synchronize());
  one.Change("a", "1");
  EXPECT_TRUE(one.Synchronize());
  EXPECT_EQ(OnDisk("a"), "1");
}

/// What may stand where the file should be, and is left alone.
TEST_F(PreferenceStoreTest, WhatIsNoFileOfOursIsRefusedAtOnce) {
  struct Case {
    const char* name;
    std::function<void(const std::string&)> make;
  };
  const Case cases[] = {
      {"a folder", [](const std::string& path) { support::MakeFolder(path + "/inner"); }},
      {"a pipe", [](const std::string& path) { EXPECT_EQ(mkfifo(path.c_str(), 0600), 0); }},
      {"a link to a pipe",
       [](const std::string& path) {
         EXPECT_EQ(mkfifo((path + ".pipe").c_str(), 0600), 0);
         fs::create_symlink("preferences.pipe", path);
       }},
      {"a link to itself", [](const std::string& path) { fs::create_symlink("preferences", path); }},
      {"a dangling link", [](const std::string& path) { fs::create_symlink("nothing", path); }},
      {"a link to a device", [](const std::string& path) { fs::create_symlink("/dev/zero", path); }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    fs::remove_all(Folder());
    support::MakeFolder(Folder());
    c.make(Path());
    const std::set<std::string> before = Names();
    const fs::file_status status = fs::symlink_status(Path());
    PreferenceStore store(Folder());
    const support::Stopwatch watch;
    EXPECT_FALSE(store.Synchronize(kShortMs));
    EXPECT_EQ(Shown(store.Value("a")), "none");
    store.Change("a", "1");
    EXPECT_FALSE(store.Synchronize(kShortMs));
    EXPECT_LT(watch.Ms(), support::kSoonMs);
    EXPECT_EQ(Shown(store.Value("a")), "1");
    EXPECT_TRUE(store.HasChanges());
    EXPECT_EQ(fs::symlink_status(Path()), status);
    std::set<std::string> after = Names();
    after.erase("preferences.lock");
    EXPECT_EQ(after, before);
    fs::remove_all(Path());
    EXPECT_TRUE(store.Synchronize()) << "the changes were kept";
    EXPECT_EQ(OnDisk("a"), "1");
  }
}

TEST_F(PreferenceStoreTest, AnothersFileIsLeftAlone) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give a file away";
  constexpr uid_t kNobody = 65534;
  for (const char* name : {"/preferences", "/preferences.lock"}) {
    MakePreferences("[Preferences]\na=\"theirs\"\n");
    MakeFile(Folder() + "/preferences.lock");
    ASSERT_EQ(chown((Folder() + name).c_str(), kNobody, kNobody), 0);
    EXPECT_FALSE(Save("a", "ours")) << name;
    EXPECT_EQ(Contents(Path()), "[Preferences]\na=\"theirs\"\n");
    EXPECT_EQ(OnDisk("a"), name == std::string("/preferences") ? "none" : "theirs");
    fs::remove_all(Folder());
  }
}

TEST_F(PreferenceStoreTest, AFileWhereAFolderShouldBe) {
  for (const char* name : {"config", "config/app"}) {
    support::MakeFolder(Folder());
    fs::remove_all(top_.File(name));
    MakeFile(top_.File(name), "a file");
    EXPECT_FALSE(Save("a", "1")) << name;
    EXPECT_EQ(Contents(top_.File(name)), "a file");
    fs::remove_all(top_.File("config"));
  }
}

TEST_F(PreferenceStoreTest, AFolderThatMayNotBeWritten) {
  const support::Unprivileged unprivileged(top_.Path());
  EXPECT_TRUE(Save("a", "1"));
  const std::set<std::string> names = Names();
  EXPECT_EQ(chmod(Folder().c_str(), 0500), 0);
  EXPECT_FALSE(Save("a", "2"));
  EXPECT_EQ(OnDisk("a"), "1");
  EXPECT_EQ(Names(), names);
  EXPECT_EQ(chmod(Folder().c_str(), 0), 0);
  EXPECT_FALSE(Save("a", "2"));
  EXPECT_EQ(OnDisk("a"), "none");
  EXPECT_EQ(chmod(Folder().c_str(), 0700), 0);
  EXPECT_TRUE(Save("a", "2"));
}

TEST_F(PreferenceStoreTest, ALinkIsKeptAndItsFileReplaced) {
  support::MakeFolder(Folder());
  support::MakeFolder(top_.File("dotfiles"));
  const std::string target = top_.File("dotfiles/app");
  MakeFile(target, "[Preferences]\na=\"1\"\n");
  fs::create_symlink("../../dotfiles/app", Path());
  EXPECT_EQ(OnDisk("a"), "1");
  EXPECT_TRUE(Save("b", "2"));
  EXPECT_TRUE(fs::is_symlink(Path()));
  EXPECT_EQ(Contents(target), "[Preferences]\na=\"1\"\nb=\"2\"\n");
  EXPECT_EQ(support::Tree(top_.File("dotfiles")), std::set<std::string>{"app"});
}

TEST_F(PreferenceStoreTest, WhatIsLeftOfADamagedFileIsKeptAndTheRestIsCopied) {
  const std::string whole = "[Preferences]\na=\"1\"\nb=[\"2\"]\nc=\"3\"\n";
  std::vector<std::string> texts{std::string(1000, '\0'), "garbage", whole + "d=", "\xFF\n" + whole};
  for (std::size_t size = 1; size < whole.size(); ++size) texts.push_back(whole.substr(0, size));
  for (std::size_t place = 0; place < whole.size(); ++place) {
    texts.push_back(whole);
    texts.back()[place] ^= 0x55;
  }
  int damaged = 0;
  for (const std::string& text : texts) {
    MakePreferences(text);
    const platform::ParsedPreferences left = platform::ParsePreferences(text);
    PreferenceStore store(Folder());
    EXPECT_TRUE(store.Synchronize()) << text;
    EXPECT_EQ(Shown(store.Value("a")), OnDisk("a")) << text;
    EXPECT_EQ(Names(), std::set<std::string>{"preferences"}) << "nothing was to be written\n" << text;
    EXPECT_TRUE(Save("new", "value")) << text;
    platform::PreferenceValues values = left.values;
    values["new"] = "value";
    EXPECT_EQ(Contents(Path()), platform::FormatPreferences(values)) << text;
    EXPECT_EQ(support::IsThere(Path() + ".broken"), !left.is_whole) << text;
    EXPECT_EQ(Contents(Path() + ".broken"), left.is_whole ? "" : text) << text;
    damaged += left.is_whole ? 0 : 1;
    fs::remove_all(Folder());
  }
  EXPECT_GT(damaged, 50);
}

TEST_F(PreferenceStoreTest, EveryDamagedFileIsCopiedOnce) {
  for (const char* text : {"first", "second", "second", "first", "third"}) {
    MakePreferences(text);
    EXPECT_TRUE(Save("a", "1"));
  }
  EXPECT_EQ(Contents(Path() + ".broken"), "first");
  EXPECT_EQ(Contents(Path() + ".broken-2"), "second");
  EXPECT_EQ(Contents(Path() + ".broken-3"), "third");
  EXPECT_EQ(Names().size(), 5U);
}

TEST_F(PreferenceStoreTest, WhatIsTooLargeIsNeitherReadNorWritten) {
  const std::string text = "[Preferences]\na=\"1\"\n";
  for (const std::size_t most : {text.size() - 1, text.size()}) {
    SCOPED_TRACE(most);
    fs::remove_all(Folder());
    const platform::PreferencesFile file(Folder(), most);
    platform::PreferenceValues values;
    const auto set = [](platform::PreferenceValues& all) { all["a"] = "1"; };
    EXPECT_EQ(file.Change(set, kShortMs, &values), most == text.size());
    EXPECT_EQ(support::IsThere(Path()), most == text.size());
    MakeFile(Path(), text);
    values.clear();
    EXPECT_EQ(file.Read(&values), most == text.size());
    EXPECT_EQ(values.size(), most == text.size() ? 1U : 0U);
    EXPECT_EQ(file.Change(set, kShortMs, &values), most == text.size());
    EXPECT_EQ(Contents(Path()), text);
  }
}

TEST_F(PreferenceStoreTest, AnotherWriterIsWaitedForButNotForEver) {
  EXPECT_TRUE(Save("a", "1"));
  const int lock = open((Path() + ".lock").c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_EQ(flock(lock, LOCK_EX), 0);
  const support::Stopwatch watch;
  PreferenceStore store(Folder());
  store.Change("a", "2");
  EXPECT_FALSE(store.Synchronize(kShortMs));
  EXPECT_GE(watch.Ms(), kShortMs) << "it did not wait";
  EXPECT_LT(watch.Ms(), support::kSoonMs) << "it waited for ever";
  EXPECT_EQ(OnDisk("a"), "1") << "readers do not wait";
  {
    const support::Background saving([&] { EXPECT_TRUE(store.Synchronize(support::kLongMs)); });
    EXPECT_TRUE(saving.Hangs());
    EXPECT_EQ(Shown(store.Value("a")), "2") << "nor do those of the same store";
    store.Change("a", "3");
    EXPECT_EQ(flock(lock, LOCK_UN), 0);
    EXPECT_TRUE(saving.Ends());
  }
  EXPECT_EQ(OnDisk("a"), "2");
  EXPECT_EQ(Shown(store.Value("a")), "3") << "changed while the other value was written";
  EXPECT_TRUE(store.HasChanges());
  close(lock);
}

TEST_F(PreferenceStoreTest, ALockThatWasTakenAwayIsNoLock) {
  EXPECT_TRUE(Save("a", "1"));
  const std::string path = Path() + ".lock";
  const int old_lock = open(path.c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_EQ(flock(old_lock, LOCK_EX), 0);
  PreferenceStore store(Folder());
  store.Change("a", "2");
  const support::Background saving([&] { EXPECT_TRUE(store.Synchronize(support::kLongMs)); });
  EXPECT_TRUE(saving.Hangs());
  fs::remove(path);
  const int new_lock = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_EQ(flock(new_lock, LOCK_EX), 0);
  close(old_lock);
  EXPECT_TRUE(saving.Hangs()) << "it holds the lock that nobody else looks at";
  close(new_lock);
  EXPECT_TRUE(saving.Ends());
  EXPECT_EQ(OnDisk("a"), "2");
}

TEST_F(PreferenceStoreTest, WhatOthersLeftUnderTheNamesOfAWriterDoesNotMatter) {
  support::MakeFolder(Folder());
  fs::create_symlink(top_.File("before"), Path() + ".new");
  EXPECT_TRUE(Save("a", "1"));
  EXPECT_EQ(Contents(top_.File("before")), "");
  EXPECT_EQ(Names(), (std::set<std::string>{"preferences", "preferences.lock"}));
  fs::remove(Path() + ".lock");
  EXPECT_EQ(mkfifo((Path() + ".lock").c_str(), 0600), 0);
  EXPECT_FALSE(Save("a", "2"));
  fs::remove(Path() + ".lock");
  fs::create_symlink(top_.File("before"), Path() + ".lock");
  EXPECT_FALSE(Save("a", "2"));
}

TEST_F(PreferenceStoreTest, ManyThreads) {
  PreferenceStore store(Folder());
  std::vector<std::thread> threads;
  constexpr int kThreads = 4, kRounds = 25;
  threads.reserve(kThreads);
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&store, key = "key" + std::to_string(thread)] {
      for (int round = 1; round <= kRounds; ++round) {
        store.Change(key, std::to_string(round));
        EXPECT_EQ(Shown(store.Value(key)), std::to_string(round));
        if (round % 5 == 0) {
          EXPECT_TRUE(store.Synchronize());
          EXPECT_EQ(Shown(store.Value(key)), std::to_string(round));
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int thread = 0; thread < kThreads; ++thread) {
    EXPECT_EQ(OnDisk("key" + std::to_string(thread)), std::to_string(kRounds));
  }
}

}  // namespace
