#include <new>
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

template <class T>
void ExpectTextKeptByGrowing() {
  LStringLongTemplate<T> text;
  text.GrowToSize(3);
  text.data()[0] = 'a';
  text.data()[1] = 'b';
  text.SetLength(2);
  const T* const buffer = text.data();
  text.GrowToSize(3);
  EXPECT_EQ(text.data(), buffer);
  text.GrowToSize(4);
  EXPECT_EQ(text.data()[0], static_cast<T>('a'));
  EXPECT_EQ(text.data()[1], static_cast<T>('b'));
  EXPECT_EQ(text.data()[2], static_cast<T>(0));
  EXPECT_EQ(text.size(), 2u);
}

TEST(StringLong, KeepsItsTextWhenItGrows) {
  ExpectTextKeptByGrowing<char>();
  ExpectTextKeptByGrowing<wchar_t>();
  ExpectTextKeptByGrowing<unsigned short>();
}

TEST(StringLong, CannotBeLargerThanItsFieldsSay) {
  if (sizeof(unsigned long) == 4) GTEST_SKIP() << "no size is larger here";
  LStringLong text;
  text = "abc";
  EXPECT_THROW(text.GrowToSize(static_cast<unsigned long>(1ull << 32)), std::bad_alloc);
  EXPECT_STREQ(text.c_str(), "abc");
  EXPECT_EQ(text.capacity(), 4u);
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

TEST(StringLong, AppendsWhatJustFits) {
  LStringLong text;
  text.GrowToSize(5);
  const char* const buffer = text.data();
  EXPECT_EQ(text.Append("abcd"), buffer);
  EXPECT_STREQ(text.c_str(), "abcd");
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

TEST(StringLong, AssignsToAnotherBufferAlsoWhenTheSizeIsTheSame) {
  LStringLong text;
  text = "abc";
  const char* const before = text.data();
  text = "xyz";
  EXPECT_NE(text.data(), before);
}

TEST(StringLong, TakesTheLengthThatIsSet) {
  LStringLong text;
  text.SetLength(3);
  EXPECT_EQ(text.size(), 0u);
  EXPECT_EQ(text.data(), nullptr);
  text = "abcd";
  text.SetLength(2);
  EXPECT_EQ(text.size(), 2u);
  EXPECT_STREQ(text.c_str(), "ab");
  text.data()[2] = 'X';
  text.SetLength(4);
  EXPECT_EQ(text.size(), 4u);
  EXPECT_STREQ(text.c_str(), "abXd");
  text.SetLength(5);
  EXPECT_EQ(text.size(), 4u);
  EXPECT_EQ(text.c_str()[4], '\0');
}

TEST(StringLong, MovesItsBuffer) {
  LStringLong text;
  text = "abc";
  LStringLong moved = std::move(text);
  EXPECT_STREQ(moved.c_str(), "abc");
  // It is an empty text, which may be used again. NOLINTBEGIN(bugprone-use-after-move, clang-analyzer-cplusplus.Move)
  EXPECT_EQ(text.size(), 0u);
  EXPECT_EQ(text.capacity(), 0u);
  text.Append("again");
  EXPECT_STREQ(text.c_str(), "again");
  // NOLINTEND(bugprone-use-after-move, clang-analyzer-cplusplus.Move)
  LStringLong assigned;
  assigned = std::move(moved);
  EXPECT_STREQ(assigned.c_str(), "abc");
}

}  // namespace
