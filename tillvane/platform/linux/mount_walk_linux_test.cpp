#include <tillvane/platform/linux/mount_walk_linux.h>

#include <cerrno>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tillvane/platform/linux/network_mount_linux.h>

namespace {

using platform::FollowPath;
using platform::LinkReader;
using platform::MountTable;
using platform::ParseMountTable;
using platform::WayToVolume;

/// What there is: links with their targets, others with an empty text. What was asked.
std::map<std::string, std::string> things;
std::vector<std::string> asked;

std::optional<std::string> ReadThing(const std::string& path) {
  asked.push_back(path);
  const auto found = things.find(path);
  if (found != things.end() && !found->second.empty()) return found->second;
  errno = found != things.end() ? EINVAL : ENOENT;
  return std::nullopt;
}

/// "mount 5", "path /a", or "nothing".
std::string Follow(const MountTable& table, const std::string& path) {
  asked.clear();
  const WayToVolume way = FollowPath(table, path, ReadThing);
  if (way.mount != nullptr) return "mount " + std::to_string(way.mount->id);
  return way.path.empty() ? "nothing" : "path " + way.path;
}

std::string Line(const std::string& ids, const std::string& point, const std::string& type) {
  return ids + " 0:1 / " + point + " rw - " + type + " source rw\n";
}

class MountWalk : public testing::Test {
 protected:
  void SetUp() override {
    things = {{"/a", ""},
              {"/a/b", ""},
              {"/net", ""},
              {"/to-net", "net/dead"},
              {"/a/up", "../net/./dead/x/"},
              {"/abs", "/net/dead"},
              {"/circle", "circle"},
              {"/out", "/net/dead/../../a"},
              {"/proc/fd", "pipe:[1]"},
              {"/to-a", "a/b"},
              {"/", ""}};
  }

  const std::string local_ = Line("1 0", "/", "ext4") + Line("2 1", "/proc", "proc");
  const MountTable table_ =
      ParseMountTable(local_ + Line("3 1", "/net/dead", "nfs") + Line("4 3", "/net/dead/local", "ext4") +
                      Line("5 4", "/net/dead/local/again", "fuse.sshfs"));
};

TEST_F(MountWalk, OnlyWhatLeadsIntoANetworkIsAnsweredByTheTable) {
  const struct {
    const char *path, *way;
  } cases[] = {
      {"/net/dead", "mount 3"},
      {"/net/dead/", "mount 3"},
      {"//net//.//dead", "mount 3"},
      {"/net/dead/x/y", "mount 3"},
      {"/net/dead/x/../y", "mount 3"},
      {"/a/../net/dead", "mount 3"},
      {"/../net/dead", "mount 3"},
      // What is mounted below it, and what below that.
      {"/net/dead/local", "mount 4"},
      {"/net/dead/local/x", "mount 4"},
      {"/net/dead/local/../x", "mount 3"},
      {"/net/dead/local/again/x", "mount 5"},
      {"/net/dead/x/../local/x", "mount 4"},
      // Links are followed wherever they do not lie on it.
      {"/to-net", "mount 3"},
      {"/to-net/x", "mount 3"},
      {"/abs/x", "mount 3"},
      {"/a/up", "mount 3"},
      {"/a/up/../../local", "path /net/local"},
      // Out of it again: asked without touching it.
      {"/net/dead/../../a/b", "path /a/b"},
      {"/net/dead/..", "path /net"},
      {"/out/b", "path /a/b"},
      {"/net/dead/../../missing", "nothing"},
      {"/net/dead/../../circle", "nothing"},
      // All else goes to the kernel as it is, what fails included.
      {"/a/b/", "path /a/b/"},
      {"/to-a", "path /to-a"},
      {"/missing/../net/dead", "path /missing/../net/dead"},
      {"/circle", "path /circle"},
      {"/proc/fd", "path /proc/fd"},
      {"/net/deadly", "path /net/deadly"},
      {"/net", "path /net"},
      {"/", "path /"},
      {"net/dead", "path net/dead"},
      {"", "nothing"},
  };
  things["/net/local"] = "";
  for (const auto& c : cases) {
    EXPECT_EQ(Follow(table_, c.path), c.way) << c.path;
    for (const std::string& path : asked) EXPECT_NE((path + '/').substr(0, 10), "/net/dead/") << c.path;
  }
}

TEST_F(MountWalk, WithoutANetworkNothingIsAsked) {
  EXPECT_EQ(Follow(ParseMountTable(local_), "/to-a/x"), "path /to-a/x");
  EXPECT_EQ(Follow({}, "/to-a/x"), "path /to-a/x");
  EXPECT_TRUE(asked.empty());
}

TEST_F(MountWalk, AMountHidesWhatItStandsOn) {
  const std::string dead = Line("3 1", "/net/dead", "nfs");
  // On the very place.
  EXPECT_EQ(Follow(ParseMountTable(local_ + dead + Line("4 3", "/net/dead", "ext4")), "/net/dead/x"), "mount 4");
  EXPECT_EQ(Follow(ParseMountTable(local_ + Line("4 1", "/net/dead", "ext4") + Line("5 4", "/net/dead", "nfs")),
                   "/net/dead/x"),
            "mount 5");
  // Above it.
  things["/net/dead"] = "";
  EXPECT_EQ(Follow(ParseMountTable(local_ + dead + Line("4 1", "/net", "tmpfs")), "/net/dead"), "path /net/dead");
  // Over the root, which is not the first in the table.
  EXPECT_EQ(Follow(ParseMountTable(Line("9 1", "/", "nfs") + local_), "/a"), "mount 9");
  EXPECT_EQ(Follow(ParseMountTable(Line("1 1", "/", "rootfs") + Line("9 1", "/", "nfs")), "/a"), "mount 9");
}

TEST_F(MountWalk, TheRootMayBeANetworksOrUnknown) {
  EXPECT_EQ(Follow(ParseMountTable(Line("1 0", "/", "nfs") + Line("2 1", "/proc", "proc")), "/a/b"), "mount 1");
  EXPECT_EQ(Follow(ParseMountTable(Line("1 0", "/", "nfs") + Line("2 1", "/proc", "proc")), "/proc/x"), "mount 2");
  EXPECT_EQ(Follow(ParseMountTable(Line("7 1", "/net/dead", "nfs")), "/net/dead/x"), "mount 7");
  EXPECT_EQ(Follow(ParseMountTable(Line("7 1", "/net/dead", "nfs")), "/a"), "path /a");
}

TEST_F(MountWalk, ATableWithACircleEnds) {
  const std::string circle = Line("5 6", "/", "nfs") + Line("6 5", "/", "nfs") + Line("7 7", "/a", "nfs");
  EXPECT_EQ(Follow(ParseMountTable(circle), "/a/b"), "mount 7");
  EXPECT_EQ(
      Follow(ParseMountTable(Line("1 0", "/", "ext4") + Line("2 1", "/a", "nfs") + Line("1 2", "/a", "ext4")), "/a/b")
          .substr(0, 5),
      "mount");
}

TEST_F(MountWalk, FortyLinksAreFollowed) {
  for (int i = 0; i <= 40; ++i) things["/l" + std::to_string(i)] = i == 0 ? "/net/dead" : "l" + std::to_string(i - 1);
  EXPECT_EQ(Follow(table_, "/l39"), "mount 3");
  EXPECT_EQ(Follow(table_, "/l40"), "path /l40");
}

}  // namespace
