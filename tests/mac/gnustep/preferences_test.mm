#include <tillvane/platform/preferences.h>

#import <Foundation/Foundation.h>
#include <objc/runtime.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tillvane/platform/mac/autorelease_pool_mac.h>

#include "made_up_account.h"

/// Half of a pair of units.
@interface HalfText : NSString
@end

@implementation HalfText

- (NSUInteger)length {
  return 1;
}
- (unichar)characterAtIndex:(NSUInteger)index {
  return 0xD800;
}

@end

namespace {

using platform::HasPreference;
using platform::PreferenceData;
using platform::PreferenceText;
using platform::PreferenceTexts;

using Texts = std::vector<std::string>;
using Data = std::vector<unsigned char>;

/// Keys of one test only.
class PreferencesOfFoundation : public testing::Test {
 protected:
  ~PreferencesOfFoundation() {
    for (const char* key : {"text", "texts", "data", "number", "mixed"}) platform::RemovePreference(key);
    EXPECT_TRUE(platform::SynchronizePreferences());
  }

  /// What is on the disk.
  static NSDictionary* Written() {
    NSString* const name = [[[NSProcessInfo processInfo] processName] stringByAppendingString:@".plist"];
    NSString* const folder = [NSString stringWithUTF8String:(MadeUpHome() + "/GNUstep/Defaults").c_str()];
    return [NSDictionary dictionaryWithContentsOfFile:[folder stringByAppendingPathComponent:name]];
  }
};

TEST_F(PreferencesOfFoundation, AValueHasOneKind) {
  for (const bool is_written : {false, true}) {
    platform::SetPreferenceText("text", "a");
    platform::SetPreferenceTexts("texts", {"a", ""});
    platform::SetPreferenceData("data", {0, 255});
    if (is_written) {
      EXPECT_TRUE(platform::SynchronizePreferences());
    }
    for (const char* key : {"text", "texts", "data"}) EXPECT_TRUE(HasPreference(key)) << key;
    EXPECT_EQ(PreferenceText("text"), "a");
    EXPECT_EQ(PreferenceTexts("texts"), (Texts{"a", ""}));
    EXPECT_EQ(PreferenceData("data"), (Data{0, 255}));
    EXPECT_FALSE(PreferenceText("texts") || PreferenceText("data") || PreferenceText("none"));
    EXPECT_FALSE(PreferenceTexts("text") || PreferenceTexts("data") || PreferenceTexts("none"));
    EXPECT_FALSE(PreferenceData("text") || PreferenceData("texts") || PreferenceData("none"));
    EXPECT_FALSE(HasPreference("none"));
  }
  platform::SetPreferenceData("text", {1});
  EXPECT_FALSE(PreferenceText("text"));
  EXPECT_EQ(PreferenceData("text"), Data{1});
  platform::RemovePreference("text");
  platform::RemovePreference("none");
  EXPECT_FALSE(HasPreference("text") || HasPreference("none"));
}

TEST_F(PreferencesOfFoundation, TextsAndDataOfAllSizes) {
  for (const std::string& text : {std::string(), std::string("\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"),
                                  std::string("a\0b", 3), std::string(100'000, 'x')}) {
    platform::SetPreferenceText("text", text);
    platform::SetPreferenceTexts("texts", {text, "between", text});
    EXPECT_EQ(PreferenceText("text"), text);
    EXPECT_EQ(PreferenceTexts("texts"), (Texts{text, "between", text}));
  }
  platform::SetPreferenceTexts("texts", {});
  EXPECT_EQ(PreferenceTexts("texts"), Texts());
  for (const std::size_t size : {0, 1, 100'000}) {
    platform::SetPreferenceData("data", Data(size, 0xFF));
    EXPECT_EQ(PreferenceData("data"), Data(size, 0xFF)) << size;
  }
}

TEST_F(PreferencesOfFoundation, WhatIsNoTextIsEmpty) {
  platform::SetPreferenceText("text", "before");
  platform::SetPreferenceText("text", "\xFF");
  EXPECT_EQ(PreferenceText("text"), "");
  platform::SetPreferenceTexts("texts", {"a", "\xC3", "b"});
  EXPECT_EQ(PreferenceTexts("texts"), (Texts{"a", "", "b"}));
}

TEST_F(PreferencesOfFoundation, ValuesOfOthersKindsAreThereButNoTexts) {
  const platform::AutoreleasePool pool;
  NSNumber* const number = [NSNumber numberWithInt:7];
  [[NSUserDefaults standardUserDefaults] setObject:number forKey:@"number"];
  [[NSUserDefaults standardUserDefaults] setObject:[NSArray arrayWithObjects:@"a", number, nil] forKey:@"mixed"];
  for (const char* key : {"number", "mixed"}) {
    EXPECT_TRUE(HasPreference(key)) << key;
    EXPECT_FALSE(PreferenceText(key) || PreferenceTexts(key) || PreferenceData(key)) << key;
  }
}

id HalfACharacter(id, SEL, NSString* key) {
  NSString* const text = [[[HalfText alloc] init] autorelease];
  return [key isEqualToString:@"texts"] ? [NSArray arrayWithObject:text] : text;
}

TEST_F(PreferencesOfFoundation, ATextOfOthersThatIsNoUtf8IsEmpty) {
  // GNUstep makes no such text, nor do its defaults keep one.
  const Method asked = class_getInstanceMethod([NSUserDefaults class], @selector(objectForKey:));
  const IMP own = method_setImplementation(asked, reinterpret_cast<IMP>(&HalfACharacter));
  EXPECT_EQ(PreferenceText("text"), "");
  EXPECT_EQ(PreferenceTexts("texts"), Texts{""});
  method_setImplementation(asked, own);
}

TEST_F(PreferencesOfFoundation, AreOnTheDiskOnceSynchronized) {
  const platform::AutoreleasePool pool;
  platform::SetPreferenceText("text", "a");
  platform::SetPreferenceData("data", {1, 2});
  EXPECT_TRUE(platform::SynchronizePreferences());
  EXPECT_TRUE([[Written() objectForKey:@"text"] isEqual:@"a"]);
  EXPECT_EQ([[Written() objectForKey:@"data"] length], 2u);
  platform::RemovePreference("text");
  EXPECT_TRUE(platform::SynchronizePreferences());
  EXPECT_EQ([Written() objectForKey:@"text"], nil);
}

}  // namespace
