#include <tillvane/platform/preferences.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/files.h>
#include <tests/support/made_up_home.h>
#include <tillvane/platform/main_bundle.h>

namespace {

using platform::HasPreference;
using platform::PreferenceData;
using platform::PreferenceText;
using platform::PreferenceTexts;

using Texts = std::vector<std::string>;
using Data = std::vector<unsigned char>;

class PreferencesTest : public testing::Test {
 protected:
  std::string Path() const { return home_.Path(".config/" + platform::MainBundleName() + "/preferences"); }

  const support::MadeUpHome home_;
};

TEST_F(PreferencesTest, AValueHasOneKind) {
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
  EXPECT_TRUE(platform::SynchronizePreferences());
  EXPECT_EQ(support::Contents(Path()), "[Preferences]\ndata=<00ff>\ntexts=[\"a\" \"\"]\n");
}

TEST_F(PreferencesTest, AMillionBytesUnderALongKey) {
  const std::string key(4096, '\n'), text(1'000'000, '\x01');
  platform::SetPreferenceText(key.c_str(), text);
  platform::SetPreferenceData("", Data(1'000'000, 0xFF));
  EXPECT_TRUE(platform::SynchronizePreferences());
  EXPECT_TRUE(PreferenceText(key.c_str()) == text);
  EXPECT_TRUE(PreferenceData("") == Data(1'000'000, 0xFF));
  EXPECT_GT(support::Contents(Path()).size(), 2'000'000U);
}

TEST_F(PreferencesTest, AnotherHomeHasOtherValues) {
  platform::SetPreferenceText("a", "of the first");
  {
    support::MakeFolder(home_.Beside("temporary"));
    const support::MadeUpHome other;
    EXPECT_FALSE(HasPreference("a"));
    platform::SetPreferenceText("a", "of the other");
    EXPECT_TRUE(platform::SynchronizePreferences());
    EXPECT_EQ(PreferenceText("a"), "of the other");
  }
  EXPECT_EQ(PreferenceText("a"), "of the first");
  EXPECT_FALSE(support::IsThere(Path()));
  EXPECT_TRUE(platform::SynchronizePreferences());
  EXPECT_EQ(support::Contents(Path()), "[Preferences]\na=\"of the first\"\n");
}

}  // namespace
