#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <tests/support/waiting.h>
#include <tillvane/platform/native_string.h>
#include <tillvane/platform/string_array.h>

namespace {

using platform::StringsOf;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(StringArray, KeepsTheOrderAndRepetitions) {
  LPlatformStringArray* const array = platform::CreateStringArray();
  EXPECT_THAT(StringsOf(array), IsEmpty());
  EXPECT_EQ(array->At(0), nullptr);
  for (const char* text : {"b", "a", "b", "", "c"}) platform::AppendString(array, text);
  EXPECT_THAT(StringsOf(array), ElementsAre("b", "a", "b", "", "c"));
  EXPECT_EQ(array->Count(), 5u);
  EXPECT_STREQ(array->At(2), "b");
  EXPECT_STREQ(array->At(4), "c");
  EXPECT_EQ(array->At(5), nullptr);
  EXPECT_TRUE(platform::ContainsString(array, ""));
  EXPECT_FALSE(platform::ContainsString(array, "d"));
  platform::ReleaseStringArray(array);
}

TEST(StringArray, RemovesAllThatAreEqual) {
  LPlatformStringArray array;
  for (const char* text : {"b", "a", "b", "c"}) array.Append(text);
  array.Remove("d");
  EXPECT_THAT(array.All(), ElementsAre("b", "a", "b", "c"));
  // The text may be the array's own.
  array.Remove(array.At(0));
  EXPECT_THAT(array.All(), ElementsAre("a", "c"));
  EXPECT_FALSE(array.Contains("b"));
  EXPECT_STREQ(array.At(1), "c");
  array.Append("b");
  EXPECT_THAT(array.All(), ElementsAre("a", "c", "b"));
  EXPECT_TRUE(array.Contains("b"));
}

TEST(StringArray, KeepsATextThatIsItsOwn) {
  LPlatformStringArray array;
  array.Append("a");
  for (int i = 0; i < 100; ++i) array.Append(array.At(0));
  EXPECT_EQ(array.Count(), 101u);
  EXPECT_STREQ(array.At(100), "a");
}

// One after the other it would take minutes.
TEST(StringArray, ManyAreFoundAndRemovedQuickly) {
  constexpr int count = 200000;
  LPlatformStringArray array;
  const support::Stopwatch watch;
  for (int i = 0; i < count; ++i) array.Append("key " + std::to_string(i));
  int found = 0;
  for (int i = 0; i < count; ++i) found += array.Contains("key " + std::to_string(i)) ? 1 : 0;
  for (int i = count - 1; i > 0; --i) array.Remove("key " + std::to_string(i));
  EXPECT_EQ(found, count);
  EXPECT_THAT(array.All(), ElementsAre("key 0"));
  EXPECT_LT(watch.Ms(), support::kLongMs);
}

TEST(StringArray, TextsOfTheSystem) {
  for (const char* text : {"", "a", "\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80"}) {
    const CFStringRef string = platform::StringFromUTF8(text);
    EXPECT_EQ(platform::TextOfString(string), text);
    platform::ReleaseString(string);
  }
  const unsigned short half[] = {'a', 0xD800};
  const CFStringRef string = platform::StringFromUnits(half, 2);
  EXPECT_EQ(platform::TextOfString(string), "");
  platform::ReleaseString(string);
}

}  // namespace
