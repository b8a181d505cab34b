#include <string>

#include <gtest/gtest.h>

#include <tillvane/system/version_text.h>

namespace {

TEST(VersionText, HasAMajorAndAMinorNumber) {
  const struct {
    std::string text;
    int major, minor;
  } cases[] = {
      {"2.14", 2, 14},
      {"2.14.3", 2, 14},
      {"3", 3, 0},
      {"3.", 3, 0},
      {".5", 0, 5},
      {".", 0, 0},
      {"0.0", 0, 0},
      {"010.08", 10, 8},
      {"2.14b7", 2, 14},
      {"2rc.14", 2, 14},
      {"2,14", 2, 0},
      {"beta", 0, 0},
      {" 2. 14", 2, 14},
      {"-1.-2", -1, -2},
      {"0x10.0x10", 0, 0},
      // With a word in front.
      {"Version 2.14", 2, 14},
      {"V 2.14", 2, 14},
      {"V1.9 2.14", 2, 14},
      {"Version  2.14", 2, 14},
      {"Version 2.14 (3.15)", 2, 14},
      {"Version 7", 7, 0},
      {"Version ", 0, 0},
      // Only in front of a space, and only with this letter.
      {"V2.14", 0, 0},
      {"V", 0, 0},
      {"v 2.14", 0, 14},
      {" V 2.14", 0, 14},
      {"2.14 V 3.15", 2, 14},
      {"Release 2.14", 0, 14},
      // More than an int holds.
      {"2147483647.2147483648", 2147483647, 2147483647},
      {"99999999999999999999.-99999999999999999999", 2147483647, -2147483647 - 1},
      {"-2147483649.1", -2147483647 - 1, 1},
      // As long as it may be.
      {std::string(257, '0') + "1.", 1, 0},
      {std::string(256, '0') + "1.2", 1, 2},
      {"1." + std::string(256, '0') + "2", 1, 2},
      {"V" + std::string(255, 'x') + " 3.", 3, 0},
  };
  for (const auto& c : cases) {
    ASSERT_LE(c.text.size(), 259u);
    int major = -77, minor = -77;
    EXPECT_TRUE(bundle::ParseVersion(c.text.c_str(), major, minor)) << c.text;
    EXPECT_EQ(major, c.major) << c.text;
    EXPECT_EQ(minor, c.minor) << c.text;
  }
}

TEST(VersionText, ThatIsEmptyLeavesTheNumbers) {
  int major = -77, minor = -78;
  EXPECT_FALSE(bundle::ParseVersion("", major, minor));
  EXPECT_EQ(major, -77);
  EXPECT_EQ(minor, -78);
}

}  // namespace
