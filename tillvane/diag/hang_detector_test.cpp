#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <functional>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/environment_variable.h>
#include <tests/support/files.h>
#include <tests/support/open_descriptors.h>
#include <tests/support/temp_folder.h>
#include <tillvane/diag/LHangDetector.h>

namespace {

using support::EnvironmentVariable;
using support::IsThere;

using Names = std::set<std::string>;

class HangDetector : public testing::Test {
 protected:
  Names Markers() const { return support::Tree(folder_.Path()); }
  std::string Marker(const std::string& login = "somebody") const { return folder_.File("_tillvane_rl_" + login); }

  const support::TempFolder folder_;
  const EnvironmentVariable temporary_{"TMPDIR", folder_.Path().c_str()};
  const EnvironmentVariable flatpak_id_{"FLATPAK_ID", nullptr};
  const EnvironmentVariable logname_{"LOGNAME", "somebody"};
  const EnvironmentVariable user_{"USER", "someone-else"};
  LHangDetector detector_;
};

/// Is a file's lock held, as another process would see it?
bool IsLocked(const std::string& path) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  const bool is_locked = flock(file, LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
  close(file);
  return is_locked;
}

/// A marker that nobody holds.
std::string StaleMarker(std::uint32_t seconds) {
  const std::uint32_t words[] = {seconds, 4711};
  return {reinterpret_cast<const char*>(words), sizeof words};
}

TEST_F(HangDetector, ARunHoldsAMarkerAndTakesItAway) {
  const auto before = support::ListOpenDescriptors();
  detector_.InitAndTest();
  EXPECT_FALSE(detector_.FoundUncleanEnd());
  EXPECT_EQ(detector_.StaleStartTime(), 0U);
  EXPECT_EQ(Markers(), Names{"_tillvane_rl_somebody"});
  EXPECT_TRUE(IsLocked(Marker()));
  EXPECT_EQ(support::ListOpenDescriptors().size(), before.size() + 1);
  detector_.Destroy();
  EXPECT_EQ(Markers(), Names());
  EXPECT_EQ(support::DescribeChanges(before, support::ListOpenDescriptors()), "");
}

TEST_F(HangDetector, TheMarkerSaysTwiceWhenTheRunBegan) {
  timeval before, after;
  gettimeofday(&before, nullptr);
  const auto first_second = static_cast<std::uint32_t>(std::time(nullptr));
  detector_.InitAndTest();
  const auto last_second = static_cast<std::uint32_t>(std::time(nullptr));
  gettimeofday(&after, nullptr);
  const auto in_ms = [](const timeval& time) {
    return static_cast<std::uint32_t>(time.tv_sec * 1000LL + time.tv_usec / 1000);
  };
  const std::string content = support::Contents(Marker());
  ASSERT_EQ(content.size(), 8U);
  std::array<std::uint32_t, 2> words;
  std::memcpy(words.data(), content.data(), content.size());
  EXPECT_GE(words[0], first_second);
  EXPECT_LE(words[0], last_second);
  EXPECT_LE(words[1] - in_ms(before), in_ms(after) - in_ms(before)) << "it wraps";
}

TEST_F(HangDetector, AMarkerThatNobodyHoldsIsTakenAwayAndTheNextTestArms) {
  const auto before = support::ListOpenDescriptors();
  folder_.Write("_tillvane_rl_somebody", StaleMarker(0xFEDCBA98));
  detector_.InitAndTest();
  EXPECT_TRUE(detector_.FoundUncleanEnd());
  EXPECT_EQ(detector_.StaleStartTime(), 0xFEDCBA98);
  EXPECT_EQ(Markers(), Names());
  EXPECT_EQ(support::DescribeChanges(before, support::ListOpenDescriptors()), "");
  detector_.InitAndTest();
  EXPECT_FALSE(detector_.FoundUncleanEnd());
  EXPECT_EQ(detector_.StaleStartTime(), 0U);
  EXPECT_TRUE(IsLocked(Marker()));
}

TEST_F(HangDetector, AMarkerThatIsTooShortSaysNoTime) {
  for (const std::size_t size : {0u, 4u, 7u}) {
    SCOPED_TRACE(size);
    folder_.Write("_tillvane_rl_somebody", std::string(size, '\1'));
    detector_.InitAndTest();
    EXPECT_TRUE(detector_.FoundUncleanEnd());
    EXPECT_EQ(detector_.StaleStartTime(), 0U);
    EXPECT_EQ(Markers(), Names());
  }
}

TEST_F(HangDetector, AMarkerThatAnotherRunHoldsIsLeftAloneUntilTheEnd) {
  LHangDetector other;
  other.InitAndTest();
  const std::string content = support::Contents(Marker());
  detector_.InitAndTest();
  EXPECT_FALSE(detector_.FoundUncleanEnd());
  EXPECT_EQ(support::Contents(Marker()), content);
  EXPECT_TRUE(IsLocked(Marker()));
  detector_.Destroy();
  EXPECT_EQ(Markers(), Names()) << "though this one never held it";
}

TEST_F(HangDetector, WhoOnlyLooksAtAMarkerKeepsItFromNobody) {
  folder_.Write("_tillvane_rl_somebody", StaleMarker(1));
  const int file = open(Marker().c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(flock(file, LOCK_SH | LOCK_NB), 0);
  detector_.InitAndTest();
  EXPECT_TRUE(detector_.FoundUncleanEnd());
  EXPECT_EQ(Markers(), Names());
  close(file);
}

TEST_F(HangDetector, ItsOwnMarkerIsGivenUpAndFoundByASecondTest) {
  const auto before = support::ListOpenDescriptors();
  detector_.InitAndTest();
  detector_.InitAndTest();
  EXPECT_TRUE(detector_.FoundUncleanEnd());
  EXPECT_EQ(Markers(), Names());
  EXPECT_EQ(support::DescribeChanges(before, support::ListOpenDescriptors()), "");
}

TEST_F(HangDetector, TheEndDeletesOnce) {
  detector_.InitAndTest();
  detector_.Destroy();
  folder_.Write("_tillvane_rl_somebody", StaleMarker(1));
  detector_.Destroy();
  { const LHangDetector never_tested; }
  EXPECT_EQ(Markers(), Names{"_tillvane_rl_somebody"});
}

TEST_F(HangDetector, TheObjectsEndIsACleanOne) {
  {
    LHangDetector other;
    other.InitAndTest();
    EXPECT_TRUE(IsThere(Marker()));
  }
  EXPECT_EQ(Markers(), Names());
}

TEST_F(HangDetector, TheLibrarysOwnIsTestedAndDestroyed) {
  LDebugHangDetectorInit();
  EXPECT_TRUE(IsLocked(Marker()));
  EXPECT_FALSE(gLHangDetector.FoundUncleanEnd());
  LDebugHangDetectorDestroy();
  EXPECT_EQ(Markers(), Names());
}

TEST_F(HangDetector, TheMarkerIsNamedAfterTheLogin) {
  // The longest one for which the path has room.
  const std::string most(259 - Marker("").size(), 'n');
  struct Case {
    const char *logname, *user;
    std::string name;
  };
  const Case cases[] = {{"first", "second", "first"}, {nullptr, "second", "second"},     {nullptr, nullptr, ""},
                        {"", "second", ""},           {"a b%s\\.", nullptr, "a b%s\\."}, {most.c_str(), nullptr, most}};
  for (const Case& one : cases) {
    SCOPED_TRACE(one.name);
    const EnvironmentVariable logname("LOGNAME", one.logname), user("USER", one.user);
    detector_.InitAndTest();
    EXPECT_FALSE(detector_.FoundUncleanEnd());
    EXPECT_TRUE(IsThere(Marker(one.name)));
    detector_.Destroy();
    EXPECT_FALSE(IsThere(Marker(one.name)));
  }
}

TEST_F(HangDetector, ALongLoginNameIsCutWhereThePathEnds) {
  std::string deep = folder_.Path();
  while (deep.size() < 120) deep += "/folder";
  support::MakeFolder(deep);
  const EnvironmentVariable temporary("TMPDIR", deep.c_str());
  for (const std::size_t length : {300u, 5000u}) {
    const EnvironmentVariable logname("LOGNAME", std::string(length, 'n').c_str());
    detector_.InitAndTest();
    const std::string whole = deep + "/_tillvane_rl_" + std::string(length, 'n');
    EXPECT_TRUE(IsThere(whole.substr(0, 259)));
    detector_.Destroy();
    EXPECT_FALSE(IsThere(whole.substr(0, 259)));
  }
}

TEST_F(HangDetector, WithoutRoomForTheMarkersNameThereIsNone) {
  // Up to the last one the prefix is whole; what a longer folder leaves of it is another file's name.
  for (const std::size_t length : {243u, 244u, 245u, 246u, 247u, 252u, 256u, 257u, 258u, 259u, 300u}) {
    SCOPED_TRACE(length);
    std::string deep = folder_.Path();
    while (deep.size() + 101 < length) deep += '/' + std::string(99, 'd');
    deep += '/' + std::string(length - deep.size() - 1, 'd');
    support::MakeFolder(deep);
    const EnvironmentVariable temporary("TMPDIR", deep.c_str());
    detector_.InitAndTest();
    Names expected;
    if (length <= 245) expected.insert(std::string("_tillvane_rl_somebody").substr(0, 258 - length));
    EXPECT_EQ(support::Tree(deep), expected);
    detector_.Destroy();
    EXPECT_EQ(support::Tree(deep), Names());
  }
}

TEST_F(HangDetector, NoLoginNameLeadsOutOfTheFolder) {
  const std::string inner = folder_.File("inner");
  support::MakeFolder(inner);
  // As if somebody had prepared the way.
  support::MakeFolder(inner + "/_tillvane_rl_");
  support::MakeFolder(inner + "/_tillvane_rl_a");
  const Names before = Markers();
  const EnvironmentVariable temporary("TMPDIR", inner.c_str());
  for (const char* login : {"/", "/../../out", "/in", "a/in", "a/../../out", "/../in"}) {
    SCOPED_TRACE(login);
    const EnvironmentVariable logname("LOGNAME", login);
    detector_.InitAndTest();
    EXPECT_EQ(Markers(), before);
    detector_.Destroy();
    EXPECT_EQ(Markers(), before);
  }
}

TEST_F(HangDetector, WithoutItsFolderThereIsNoMarker) {
  const EnvironmentVariable temporary("TMPDIR", folder_.File("missing").c_str());
  const auto before = support::ListOpenDescriptors();
  detector_.InitAndTest();
  EXPECT_FALSE(detector_.FoundUncleanEnd());
  EXPECT_EQ(Markers(), Names());
  EXPECT_EQ(support::DescribeChanges(before, support::ListOpenDescriptors()), "");
}

TEST_F(HangDetector, WhatIsNoMarkerIsLeftAlone) {
  const std::string victim = folder_.Write("victim", StaleMarker(1));
  struct Case {
    const char* what;
    std::function<int(const char*)> plant;
  };
  const Case cases[] = {{"a link", [&](const char* path) { return symlink(victim.c_str(), path); }},
                        {"a link to nothing", [](const char* path) { return symlink("nowhere", path); }},
                        {"a pipe", [](const char* path) { return mkfifo(path, 0600); }},
                        {"a folder", [](const char* path) { return mkdir(path, 0700); }}};
  for (const Case& one : cases) {
    SCOPED_TRACE(one.what);
    ASSERT_EQ(one.plant(Marker().c_str()), 0);
    const Names before = Markers();
    const auto descriptors = support::ListOpenDescriptors();
    detector_.InitAndTest();
    EXPECT_FALSE(detector_.FoundUncleanEnd());
    EXPECT_EQ(detector_.StaleStartTime(), 0U);
    detector_.Destroy();
    EXPECT_EQ(Markers(), before);
    EXPECT_EQ(support::Contents(victim), StaleMarker(1));
    EXPECT_EQ(support::DescribeChanges(descriptors, support::ListOpenDescriptors()), "");
    std::filesystem::remove(Marker());
  }
}

TEST_F(HangDetector, TheMarkerIsClosedOnExec) {
  const auto before = support::ListOpenDescriptors();
  detector_.InitAndTest();
  int found = 0;
  for (const auto& [descriptor, what] : support::ListOpenDescriptors()) {
    if (before.contains(descriptor)) continue;
    ++found;
    EXPECT_EQ(fcntl(descriptor, F_GETFD), FD_CLOEXEC) << what;
  }
  EXPECT_EQ(found, 1);
}

}  // namespace
