#include <string>
#include <utility>

#include <gtest/gtest.h>

#include <tillvane/text/LStringLong.h>

namespace {

TEST(StringLong, BeginsEmptyAndWithoutABuffer) {
  const LStringLong text;
  EXPECT_STREQ(text.c_str(), "");
  EXPECT_EQ(text.size(), 0u);
  EXPECT_EQ(text.capacity(), 0u);
}

TEST(StringLong, GrowsToExactlyTheSizeAskedForAndNeverShrinks) {
  LStringLong text;
  text.GrowToSize(5);
  EXPECT_EQ(text.capacity(), 5u);
  EXPECT_STREQ(text.c_str(), "");
  text = "abcd";
  text.GrowToSize(2);
  EXPECT_EQ(text.capacity(), 5u);
  text.GrowToSize(9);
  EXPECT_EQ(text.capacity(), 9u);
  EXPECT_STREQ(text.c_str(), "abcd");
}

TEST(StringLong, OtherWidthsGrowToo) {
  LStringLongTemplate<wchar_t> wide;
  wide.GrowToSize(3);
  EXPECT_EQ(wide.capacity(), 3u);
  EXPECT_EQ(wide.c_str()[0], L'\0');
  LStringLongTemplate<unsigned short> units;
  units.GrowToSize(4);
  EXPECT_EQ(units.capacity(), 4u);
  EXPECT_EQ(units.c_str()[0], 0);
}

TEST(StringLong, AppendsToTheExactSize) {
  LStringLong text;
  const char* const buffer = text.Append("ab");
  EXPECT_EQ(buffer, text.c_str());
  EXPECT_EQ(text.capacity(), 3u);
  text.Append("cde");
  EXPECT_STREQ(text.c_str(), "abcde");
  EXPECT_EQ(text.size(), 5u);
  EXPECT_EQ(text.capacity(), 6u);
  text.Append("");
  EXPECT_EQ(text.capacity(), 6u);
}

TEST(StringLong, AppendsInTheRoomThatIsThere) {
  LStringLong text;
  text.GrowToSize(100);
  text.Append("ab");
  text.Append("cd");
  EXPECT_STREQ(text.c_str(), "abcd");
  EXPECT_EQ(text.capacity(), 100u);
}

TEST(StringLong, AppendsAPartOfItself) {
  LStringLong text;
  text = "abc";
  text.Append(text.c_str() + 1);
  EXPECT_STREQ(text.c_str(), "abcbc");
  text.GrowToSize(20);
  text.Append(text.c_str() + 3);
  EXPECT_STREQ(text.c_str(), "abcbcbc");
}

TEST(StringLong, AssignsACopyOfExactlyItsSize) {
  LStringLong text;
  text.GrowToSize(100);
  text = "abc";
  EXPECT_STREQ(text.c_str(), "abc");
  EXPECT_EQ(text.size(), 3u);
  EXPECT_EQ(text.capacity(), 4u);
  text = text.c_str() + 1;
  EXPECT_STREQ(text.c_str(), "bc");
  EXPECT_EQ(text.capacity(), 3u);
  text = "";
  EXPECT_EQ(text.capacity(), 1u);
}

TEST(StringLong, MovesItsBuffer) {
  LStringLong text;
  text = "abc";
  LStringLong moved = std::move(text);
  EXPECT_STREQ(moved.c_str(), "abc");
  LStringLong assigned;
  assigned = std::move(moved);
  EXPECT_STREQ(assigned.c_str(), "abc");
}

}  // namespace
