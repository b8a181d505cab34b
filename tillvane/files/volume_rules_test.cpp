#include <string>

#include <gtest/gtest.h>

#include <tests/support/guarded_text.h>
#include <tillvane/files/volume_rules.h>

namespace {

constexpr unsigned int kInternal = 1u << 21, kRemovable = 1u << 25, kExternal = 1u << 27;

TEST(VolumeRules, TheThreeQuestionsOnTheAttributes) {
  const struct {
    unsigned int attributes;
    bool external, removable, network;
  } cases[] = {
      {0, true, true, true},
      {kInternal, false, false, false},
      {kRemovable, true, true, false},
      {kExternal, true, true, false},
      {kInternal | kRemovable, false, true, false},
      {kInternal | kExternal, false, false, false},
      {kExternal | kRemovable, true, true, false},
      {kInternal | kExternal | kRemovable, false, true, false},
      // All the other bits say nothing.
      {~(kInternal | kRemovable | kExternal), true, true, true},
      {~kRemovable, false, false, false},
      {0xFFFFFFFF, false, true, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.attributes);
    EXPECT_EQ(files::IsExternal(c.attributes), c.external);
    EXPECT_EQ(files::IsRemovable(c.attributes), c.removable);
    EXPECT_EQ(files::IsNetwork(c.attributes), c.network);
  }
}

TEST(VolumeRules, LocalIsWhatIsNoNetworkByAttributesNorByNumber) {
  const struct {
    unsigned short file_system;
    unsigned int attributes;
    bool local;
  } cases[] = {
      {0xEF53, kInternal, true},
      {0xEF53, kExternal, true},
      {0xEF53, kRemovable, true},
      {0xEF53, 0, false},
      {0x4A48, kInternal, false},
      {0x4A48, 0, false},
      {0x6375, kExternal, false},
      {0x6375, 0, false},
      {0x6969, 0, false},
      {0x4A49, kInternal, true},
      {0x6374, kInternal, true},
      {0, kInternal, true},
      // A negative number is one that is known, but for -1.
      {0xFFFE, 0, false},
      {0xFFFF, 0, true},
      {0xFFFF, kInternal, true},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(files::IsLocal(c.file_system, c.attributes), c.local) << c.file_system << ' ' << c.attributes;
  }
}

TEST(VolumeRules, TheLimitOfSizesByTheFileSystemsName) {
  const struct {
    std::string name;
    int limit;
  } cases[] = {
      {"", 2},       {"NTFS", 2},   {"ntfs", 2},     {"FAT32", 1},   {"fat32", 1},  {"Fat32", 1},
      {"exFAT", 2},  {"exfat", 2},  {"EXFAT", 2},    {"FAT16B", 1},  {"fat16b", 1}, {"FAT16", 0},
      {"fat16", 0},  {"FAT12", 0},  {"fat12", 0},    {"FAT", 0},     {"fat", 0},    {"vfat", 2},
      {"msdos", 2},  {"ntfs3", 2},  {"fuseblk", 2},  {"ext4", 2},    {"FAT3", 2},   {"FAT320", 2},
      {" FAT32", 2}, {"FAT32 ", 2}, {"fuse.fat", 2}, {"FAT12\n", 2}, {"FA", 2},     {std::string(1000, 'F'), 2},
  };
  for (const auto& c : cases) EXPECT_EQ(files::SizeLimitOf(c.name.c_str()), c.limit) << c.name;
}

TEST(VolumeRules, TheDriveThatAPathNames) {
  const struct {
    std::string path, drive;
  } cases[] = {
      {"D:\\stuff", "D:\\"},
      {"D", "D:\\"},
      {"disk2/x", "disk2:\\"},
      {"9", "9:\\"},
      {"a b", "a:\\"},
      {"/nowhere/x", "/"},
      {"/", "/"},
      {"//x", "/"},
      {"~x", ""},
      {"", ""},
      {"\\x", ""},
      {":", ""},
      {".x", ""},
      {"\xC3\xA4x", ""},
      {std::string(257, 'x') + "/y", std::string(257, 'x') + ":\\"},
      {std::string(258, 'x') + "/y", std::string(258, 'x') + ":"},
      {std::string(259, 'x'), std::string(259, 'x')},
      {std::string(1000, 'x'), std::string(259, 'x')},
  };
  for (const auto& c : cases) {
    support::GuardedText out(260);
    files::DriveOfPathText(out.Get(), c.path.c_str());
    EXPECT_EQ(out.Text(), c.drive) << c.path;
    if (c.path.size() >= 260) continue;
    support::GuardedText in_place(260);
    c.path.copy(in_place.Get(), c.path.size());
    in_place.Get()[c.path.size()] = '\0';
    files::DriveOfPathText(in_place.Get(), in_place.Get());
    EXPECT_EQ(in_place.Text(), c.drive) << c.path << ", in place";
  }
}

}  // namespace
