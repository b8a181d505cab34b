#include <tillvane/platform/linux/preferences_format_linux.h>

#include <glib.h>

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using platform::FormatPreferences;
using platform::ParsedPreferences;
using platform::ParsePreferences;
using platform::PreferenceValue;
using platform::PreferenceValues;

using Texts = std::vector<std::string>;
using Data = std::vector<unsigned char>;

std::string EveryByte() {
  std::string bytes;
  for (int byte = 0; byte < 256; ++byte) bytes += static_cast<char>(byte);
  return bytes;
}

PreferenceValues ManyValues() {
  PreferenceValues values;
  const std::string every_byte = EveryByte();
  for (const std::string& key :
       {std::string(), std::string("plain-Key_1.0"), std::string(" "), std::string("a = b"),
        std::string("[Preferences]"), std::string("x[de]"), std::string("#"), std::string("line\nline\r"),
        std::string("t\xC3\xA9l\xC3\xA9"), std::string("%"), std::string("%41"), std::string("A"),
        std::string("Encoding"), std::string("encoding"), std::string("\"\\"), std::string(4096, '='), every_byte}) {
    values[key] = "of " + key;
  }
  const Texts texts{"", "a", ";", " ", "\"", "\\", "] [", "\n", "t\xC3\xA9l\xC3\xA9", "\xFF", every_byte};
  for (std::size_t i = 0; i < texts.size(); ++i) values["text" + std::to_string(i)] = texts[i];
  values["texts"] = texts;
  values["texts0"] = Texts();
  values["texts1"] = Texts{""};
  values["data"] = Data(every_byte.begin(), every_byte.end());
  values["data0"] = Data();
  values["large"] = std::string(1'000'000, 'x');
  values["large data"] = Data(1'000'000, 0xFF);
  return values;
}

TEST(PreferencesFormat, WhatTheFileLooksLike) {
  const PreferenceValues values{{"a b", std::string("x\ty \"\\\" \xC3\xA9")},
                                {"Encoding", std::string("UTF-8")},
                                {"keys", Texts{"one", "two"}},
                                {"none", Texts()},
                                {"data", Data{0, 0x7F, 0xAB}}};
  EXPECT_EQ(FormatPreferences(values),
            "[Preferences]\n"
            "%45%6e%63%6f%64%69%6e%67=\"UTF-8\"\n"
            "a%20b=\"x\\x09y \\\"\\\\\\\" \xC3\xA9\"\n"
            "data=<007fab>\n"
            "keys=[\"one\" \"two\"]\n"
            "none=[]\n");
}

TEST(PreferencesFormat, EveryKeyAndValueComesBackWithItsKind) {
  const ParsedPreferences parsed = ParsePreferences(FormatPreferences(ManyValues()));
  EXPECT_TRUE(parsed.is_whole);
  EXPECT_TRUE(parsed.values == ManyValues());
  for (const auto& [key, value] : ManyValues()) {
    const auto found = parsed.values.find(key);
    ASSERT_NE(found, parsed.values.end()) << key;
    EXPECT_EQ(found->second.index(), value.index()) << key;
  }
}

TEST(PreferencesFormat, GLibReadsTheSameLines) {
  const std::string text = FormatPreferences(ManyValues());
  const std::unique_ptr<GKeyFile, decltype(&g_key_file_free)> file(g_key_file_new(), g_key_file_free);
  GError* error = nullptr;
  g_key_file_load_from_data(file.get(), text.data(), text.size(), G_KEY_FILE_KEEP_TRANSLATIONS, &error);
  ASSERT_EQ(error, nullptr) << error->message;
  gsize count = 0;
  const std::unique_ptr<char*, decltype(&g_strfreev)> keys(
      g_key_file_get_keys(file.get(), "Preferences", &count, nullptr), g_strfreev);
  ASSERT_EQ(count, ManyValues().size());
  std::string again = "[Preferences]\n";
  for (char** key = keys.get(); *key != nullptr; ++key) {
    const std::unique_ptr<char, decltype(&g_free)> value(g_key_file_get_value(file.get(), "Preferences", *key, nullptr),
                                                         g_free);
    again += std::string(*key) + '=' + value.get() + '\n';
  }
  EXPECT_TRUE(again == text);
}

TEST(PreferencesFormat, WhatCannotBeReadIsLeftOutAndTold) {
  struct Case {
    std::string text;
    bool is_whole;
    PreferenceValues values;
  };
  const std::string head = "[Preferences]\n";
  const PreferenceValues one{{"a", std::string("1")}};
  const Case cases[] = {
      {"", true, {}},
      {"\n\n", true, {}},
      {head, true, {}},
      {"[Preferences]", true, {}},
      {head + "a=\"1\"\n", true, one},
      {head + "\na=\"1\"", true, one},
      {head + head + "a=\"1\"\n", true, one},
      {"a=\"1\"\n", false, {}},
      {"[Other]\na=\"1\"\n", false, {}},
      {"[Other]\nb=2\n" + head + "a=\"1\"\n", false, one},
      {head + "a=\"1\"\n[Other]\na=\"2\"\n", false, one},
      {"[Preferences] \na=\"1\"\n", false, {}},
      {head + "# mine\na=\"1\"\n", false, one},
      {head + "a=\"2\"\na=\"1\"\n", false, one},
      {head + "b\na=\"1\"\n", false, one},
      {head + "b=\na=\"1\"\n", false, one},
      {head + "b=2\na=\"1\"\n", false, one},
      {head + "=\"2\"\na=\"1\"\n", false, one},
      {head + "b=\"2\na=\"1\"\n", false, one},
      {head + "b=\"2\" \na=\"1\"\n", false, one},
      {head + "b =\"2\"\na=\"1\"\n", false, one},
      {head + "b=\"2\"\"\na=\"1\"\n", false, one},
      {head + "b=\"\\\"\na=\"1\"\n", false, one},
      {head + "b=\"\\n\"\na=\"1\"\n", false, one},
      {head + "b=\"\\x4\"\na=\"1\"\n", false, one},
      {head + "b=\"\\x4G\"\na=\"1\"\n", false, one},
      {head + "b=\"\\", false, {}},
      {head + "b=\"\\x", false, {}},
      {head + "b=[\na=\"1\"\n", false, one},
      {head + "b=[\"2\"\na=\"1\"\n", false, one},
      {head + "b=[\"2\" ]\na=\"1\"\n", false, one},
      {head + "b=[ \"2\"]\na=\"1\"\n", false, one},
      {head + "b=[\"2\"\"3\"]\na=\"1\"\n", false, one},
      {head + "b=[]]\na=\"1\"\n", false, one},
      {head + "b=[2]\na=\"1\"\n", false, one},
      {head + "b=<\na=\"1\"\n", false, one},
      {head + "b=<0>\na=\"1\"\n", false, one},
      {head + "b=<0G>\na=\"1\"\n", false, one},
      {head + "b=<AB>\na=\"1\"\n", false, one},
      {head + "b=<ab\na=\"1\"\n", false, one},
      // Another spelling of a key would make two of one.
      {head + "%61=\"2\"\na=\"1\"\n", false, one},
      {head + "a b=\"2\"\na=\"1\"\n", false, one},
      {head + "a%2B=\"2\"\na=\"1\"\n", false, one},
      {head + "a%2=\"2\"\na=\"1\"\n", false, one},
      {head + "%%=\"2\"\na=\"1\"\n", false, one},
      {head + "Encoding=\"2\"\na=\"1\"\n", false, one},
      {head + std::string("b=\"2\"\0\na=\"1\"\n", 14), false, one},
      {std::string(3, '\0') + "\n" + head + "a=\"1\"\n", false, one},
  };
  for (const Case& c : cases) {
    const ParsedPreferences parsed = ParsePreferences(c.text);
    EXPECT_EQ(parsed.is_whole, c.is_whole) << c.text;
    EXPECT_TRUE(parsed.values == c.values) << c.text;
  }
}

TEST(PreferencesFormat, CutAnywhereTheWholeLinesAreThere) {
  const PreferenceValues values{{"a", std::string("t\xC3\xA9\n")}, {"b c", Texts{"x", "y"}}, {"d", Data{1, 2}}};
  const std::string text = FormatPreferences(values);
  for (std::size_t size = 0; size <= text.size(); ++size) {
    const ParsedPreferences parsed = ParsePreferences(std::string_view(text).substr(0, size));
    for (const auto& [key, value] : parsed.values) EXPECT_TRUE(values.at(key) == value) << size << ": " << key;
    const bool ends_with_a_line = size == 0 || text[size] == '\n' || text[size - 1] == '\n' || size == text.size();
    EXPECT_EQ(parsed.is_whole, ends_with_a_line) << size;
    EXPECT_TRUE(FormatPreferences(parsed.values).size() >= size || !parsed.is_whole) << size;
  }
}

}  // namespace
