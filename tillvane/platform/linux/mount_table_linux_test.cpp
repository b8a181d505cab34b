#include <tillvane/platform/linux/mount_table_linux.h>

#include <algorithm>
#include <string>

#include <gtest/gtest.h>

namespace {

using platform::FindMount;
using platform::Mount;
using platform::MountTable;
using platform::ParseMountTable;

std::string Describe(const MountTable& table) {
  std::string text;
  for (const Mount& mount : table) {
    text += std::to_string(mount.id) + '<' + std::to_string(mount.parent) + ' ' + std::to_string(mount.major) + ':' +
            std::to_string(mount.minor) + " [" + mount.point + "] [" + mount.type + "] [" + mount.source + "]\n";
  }
  return text;
}

TEST(MountTable, LinesAreRead) {
  const struct {
    std::string line, mount;
  } cases[] = {
      {"36 35 98:0 /mnt1 /mnt2 rw,noatime master:1 - ext3 /dev/root rw,errors=continue",
       "36<35 98:0 [/mnt2] [ext3] [/dev/root]\n"},
      {"36 35 98:0 / / rw - ext3 /dev/root rw", "36<35 98:0 [/] [ext3] [/dev/root]\n"},
      {"36 35 0:1 / /a rw shared:1 master:2 propagate_from:3 unbindable new:4 - tmpfs tmpfs rw",
       "36<35 0:1 [/a] [tmpfs] [tmpfs]\n"},
      {"18446744073709551615 0 4294967295:4294967295 / /a rw - t s rw",
       "18446744073709551615<0 4294967295:4294967295 [/a] [t] [s]\n"},
      // Escapes, and what only looks like one.
      {"1 2 0:3 / /a\\040b\\011c\\012d\\134e rw - fuse.a\\040b x\\043y rw",
       "1<2 0:3 [/a b\tc\nd\\e] [fuse.a b] [x#y]\n"},
      {"1 2 0:3 / /\\134040 rw - t s rw", "1<2 0:3 [/\\040] [t] [s]\n"},
      {"1 2 0:3 / /\\377\\000x rw - t s rw", "1<2 0:3 [/\xFF" + std::string(1, '\0') + "x] [t] [s]\n"},
      {"1 2 0:3 / /\\08\\4\\04x\\400\\-40\\ rw - t \\ rw", "1<2 0:3 [/\\08\\4\\04x\\400\\-40\\] [t] [\\]\n"},
      {"1 2 0:3 / /\\0400 rw - t s rw", "1<2 0:3 [/ 0] [t] [s]\n"},
      // The source may be empty, or a hyphen, and so may the text of a mount point be.
      {"1 2 0:3 / /a rw - fuse  rw", "1<2 0:3 [/a] [fuse] []\n"},
      {"1 2 0:3 / /a rw - fuse - rw - x y", "1<2 0:3 [/a] [fuse] [-]\n"},
      {"1 2 0:3 - /- - - - - rw", "1<2 0:3 [/-] [-] [-]\n"},
      {"1 2 0:3 / /a rw - t", "1<2 0:3 [/a] [t] []\n"},
      {"1 2 0:3 / /\xC3\xA4\xFF rw - t \xFE rw", "1<2 0:3 [/\xC3\xA4\xFF] [t] [\xFE]\n"},
      {"1 2 0:3 / /" + std::string(100000, 'x') + " rw - t " + std::string(100000, 'y') + " rw",
       "1<2 0:3 [/" + std::string(100000, 'x') + "] [t] [" + std::string(100000, 'y') + "]\n"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Describe(ParseMountTable(c.line)), c.mount) << c.line.substr(0, 200);
    EXPECT_EQ(Describe(ParseMountTable(c.line + '\n')), c.mount) << c.line.substr(0, 200);
  }
}

TEST(MountTable, LinesThatAreNoneAreLeftOut) {
  const std::string good = "1 2 0:3 / /a rw - t s rw\n";
  const std::string one = Describe(ParseMountTable(good));
  for (const std::string bad : {"",
                                " ",
                                "-",
                                "1",
                                "1 2",
                                "1 2 3 / /a rw - t s rw",
                                "x 2 0:3 / /a rw - t s rw",
                                "1 x 0:3 / /a rw - t s rw",
                                "1 2 x:3 / /a rw - t s rw",
                                "1 2 0:x / /a rw - t s rw",
                                "1 2 0:3:4 / /a rw - t s rw",
                                "1 2 0: / /a rw - t s rw",
                                "1 2 :3 / /a rw - t s rw",
                                "-1 2 0:3 / /a rw - t s rw",
                                "1 -2 0:3 / /a rw - t s rw",
                                "+1 2 0:3 / /a rw - t s rw",
                                " 1 2 0:3 / /a rw - t s rw",
                                "1  2 0:3 / /a rw - t s rw",
                                "18446744073709551616 2 0:3 / /a rw - t s rw",
                                "1 2 4294967296:3 / /a rw - t s rw",
                                "1 2 0:4294967296 / /a rw - t s rw",
                                "1 2 0:3 / a rw - t s rw",
                                "1 2 0:3 /  rw - t s rw",
                                "1 2 0:3 / /a rw - ",
                                "1 2 0:3 / /a rw -  s rw",
                                "1 2 0:3 / /a rw t s rw",
                                "1 2 0:3 / /a rw",
                                "1 2 0:3 / /a",
                                "1 2 0:3",
                                "1\t2\t0:3 / /a rw - t s rw"}) {
    EXPECT_EQ(Describe(ParseMountTable(bad)), "") << bad;
    std::string text = good;
    text.append(bad).append("\n").append(good);
    EXPECT_EQ(Describe(ParseMountTable(text)), one + one) << bad;
  }
}

TEST(MountTable, FindsByTheNumber) {
  const MountTable table = ParseMountTable("1 2 0:3 / /a rw - t s rw\n2 1 0:3 / /b rw - t s rw\n");
  ASSERT_NE(FindMount(table, 2), nullptr);
  EXPECT_EQ(FindMount(table, 2)->point, "/b");
  EXPECT_EQ(FindMount(table, 3), nullptr);
  EXPECT_EQ(FindMount({}, 1), nullptr);
}

TEST(MountTable, ARootThatItDoesNotTellOfIsLikeAnotherMountOfItsDevice) {
  const MountTable table = ParseMountTable("1 2 8:1 /x /a rw - ext4 /dev/sda1 rw\n2 9 0:3 / /proc rw - proc proc rw\n");
  const auto describe = [&table](unsigned int major, unsigned int minor) {
    const std::optional<Mount> root = platform::MakeRootMount(table, 7, major, minor);
    return root ? Describe({*root}) : "none";
  };
  EXPECT_EQ(describe(8, 1), "7<7 8:1 [/] [ext4] [/dev/sda1]\n");
  EXPECT_EQ(describe(8, 2), "7<7 8:2 [/] [] []\n");
  EXPECT_EQ(describe(7, 1), "7<7 7:1 [/] [] []\n");
  EXPECT_EQ(describe(0, 3), "7<7 0:3 [/] [proc] [proc]\n");
  EXPECT_FALSE(platform::MakeRootMount(ParseMountTable("1 2 8:1 / / rw - ext4 x rw\n"), 7, 8, 1));
}

TEST(MountTable, TheSystemsOwnTellsOfProc) {
  const MountTable table = platform::ReadMountTable();
  EXPECT_TRUE(std::any_of(table.begin(), table.end(), [](const Mount& mount) {
    return mount.point == "/proc" && mount.type == "proc";
  })) << Describe(table);
}

}  // namespace
