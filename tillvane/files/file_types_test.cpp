#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <tillvane/files/LFileTypes.h>
#include <tillvane/platform/string_array.h>

namespace {

using namespace std::string_literals;
using Texts = std::vector<std::string>;

/// The extensions of a filter whose last terminator is the text's own.
Texts ExtensionsOf(const std::string& filter) {
  LPlatformStringArray* const extensions = platform::CreateStringArray();
  ParseFileTypes(extensions, filter.c_str());
  Texts texts = platform::StringsOf(extensions);
  platform::ReleaseStringArray(extensions);
  return texts;
}

TEST(FileTypes, AreTheExtensionsOfAllPatterns) {
  const struct {
    std::string filter;
    Texts extensions;
  } cases[] = {
      {"Images\0*.png;*.jpg\0"s, {"png", "jpg"}},
      {"Text files\0*.txt;*.text\0All files\0*.*\0"s, {"txt", "text"}},
      {"All\0*.*\0Text\0*.txt\0"s, {"txt"}},
      {"All\0*.*;*.txt;*.*\0"s, {"txt"}},
      {""s, {}},
      // An empty list of patterns ends it all.
      {"None\0\0Text\0*.txt\0"s, {}},
      {"Text\0*.txt\0None\0\0More\0*.more\0"s, {"txt"}},
      {"Text\0*.txt\0"s + "\0More\0*.more\0"s, {"txt"}},
      // A pattern is what stands behind "*.".
      {"Odd\0a*.txt;readme;*;.x;*.y\0"s, {"txt", "y"}},
      {"Odd\0readme*.z\0"s, {"z"}},
      {"Odd\0*.tar.gz;*.a*.b;*.*a\0"s, {"tar.gz", "a*.b", "*a"}},
      {"Odd\0*.;*.x\0"s, {"", "x"}},
      {"Odd\0*.\0"s, {""}},
      {"Odd\0;;*.x;;\0"s, {"x"}},
      {"Odd\0*.x *.y;*. z \0"s, {"x *.y", " z "}},
      {"Odd\0**.x;*..y\0"s, {"x", ".y"}},
      {"Twice\0*.x;*.x\0Again\0*.x\0"s, {"x", "x", "x"}},
      {"Umlauts\0*.\xC3\xBC\0"s, {"\xC3\xBC"}},
      {"Not UTF-8\0*.\xFF;*.a\xC3;*.y\0"s, {"\xFF", "a\xC3", "y"}},
      {"Long\0*."s + std::string(1000, 'x') + ";*.y\0"s, {std::string(1000, 'x'), "y"}},
  };
  for (const auto& c : cases) EXPECT_EQ(ExtensionsOf(c.filter), c.extensions) << testing::PrintToString(c.filter);
}

TEST(FileTypes, AreAppended) {
  LPlatformStringArray extensions;
  ParseFileTypes(&extensions, "A\0*.a\0");
  ParseFileTypes(&extensions, nullptr);
  ParseFileTypes(&extensions, "");
  ParseFileTypes(&extensions, "B\0*.b\0");
  ASSERT_EQ(extensions.Count(), 2u);
  EXPECT_STREQ(extensions.At(0), "a");
  EXPECT_STREQ(extensions.At(1), "b");
}

}  // namespace
