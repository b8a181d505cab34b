#include <tillvane/platform/string_array.h>

#import <Foundation/Foundation.h>

#include <string>
#include <string_view>

#include <gmock/gmock.h>

#include <tillvane/files/LFileTypes.h>
#include <tillvane/platform/mac/autorelease_pool_mac.h>

namespace {

using platform::StringsOf;
using testing::ElementsAre;
using testing::IsEmpty;

class StringArrayOfFoundation : public testing::Test {
 protected:
  ~StringArrayOfFoundation() {
    EXPECT_EQ([array_ retainCount], 1u);
    platform::ReleaseStringArray(array_);
  }

  NSMutableArray* const array_ = platform::CreateStringArray();
};

TEST_F(StringArrayOfFoundation, KeepsTheOrderAndRepetitions) {
  EXPECT_THAT(StringsOf(array_), IsEmpty());
  const std::string nul("a\0b", 3), wide = "\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80";
  for (const std::string& text : {std::string("b"), nul, std::string("b"), std::string(), wide}) {
    platform::AppendString(array_, text);
  }
  EXPECT_THAT(StringsOf(array_), ElementsAre("b", nul, "b", "", wide));
  EXPECT_TRUE(platform::ContainsString(array_, ""));
  EXPECT_TRUE(platform::ContainsString(array_, wide));
  EXPECT_FALSE(platform::ContainsString(array_, "a"));
  // Nobody else has the texts.
  for (NSUInteger i = 1; i < 5; i += 3) EXPECT_LE([[array_ objectAtIndex:i] retainCount], 2u) << i;
}

TEST_F(StringArrayOfFoundation, RemovesAllThatAreEqual) {
  for (const char* text : {"b", "a", "b", "c"}) platform::AppendString(array_, text);
  platform::RemoveString(array_, "d");
  EXPECT_THAT(StringsOf(array_), ElementsAre("b", "a", "b", "c"));
  platform::RemoveString(array_, "b");
  EXPECT_THAT(StringsOf(array_), ElementsAre("a", "c"));
}

TEST_F(StringArrayOfFoundation, HasNothingThatIsNotUtf8) {
  platform::AppendString(array_, "a");
  for (const char* text : {"\xFF", "\xC3", "\xED\xA0\x80"}) {
    platform::AppendString(array_, text);
    platform::RemoveString(array_, text);
    EXPECT_FALSE(platform::ContainsString(array_, text));
  }
  EXPECT_THAT(StringsOf(array_), ElementsAre("a"));
}

TEST_F(StringArrayOfFoundation, TakesTheExtensionsOfFileTypes) {
  ParseFileTypes(array_, "Images\0*.png;*.jpg\0All\0*.*\0");
  EXPECT_THAT(StringsOf(array_), ElementsAre("png", "jpg"));
}

TEST_F(StringArrayOfFoundation, TextsOfTheSystem) {
  const platform::AutoreleasePool pool;
  EXPECT_EQ(platform::TextOfString(@"a"), "a");
  EXPECT_EQ(platform::TextOfString(nil), "");
  const unichar half[] = {'a', 0xD800};
  EXPECT_EQ(platform::TextOfString([NSString stringWithCharacters:half length:2]), "");
}

}  // namespace
