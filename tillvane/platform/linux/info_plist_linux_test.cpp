#include <tillvane/platform/linux/info_plist_linux.h>

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

#include <tillvane/platform/linux/plist_size_linux.h>

namespace {

using platform::InfoPlistText;
using platform::IsPlistModest;

constexpr const char* kKey = "CFBundleVersion";

const std::string kHead =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
    "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<plist version=\"1.0\">";

std::string List(const std::string& content) { return kHead + content + "</plist>\n"; }
std::string Dictionary(const std::string& content) { return List("<dict>" + content + "</dict>"); }

std::string Repeat(const std::string& text, std::size_t count) {
  std::string all;
  for (; count > 0; --count) all += text;
  return all;
}

std::string BigEndian(std::uint64_t number, int size) {
  std::string bytes;
  while (size-- > 0) bytes += static_cast<char>(number >> (8 * size));
  return bytes;
}

struct Sizes {
  int place = 4;
  int reference = 2;
};

/// A binary list of these objects, the first of which is the root.
std::string Binary(const std::vector<std::string>& objects, Sizes sizes = {}) {
  std::string list = "bplist00", places;
  for (const std::string& object : objects) {
    places += BigEndian(list.size(), sizes.place);
    list += object;
  }
  const std::string table = BigEndian(list.size(), 8);
  return list + places + std::string(6, '\0') + BigEndian(static_cast<unsigned>(sizes.place), 1) +
         BigEndian(static_cast<unsigned>(sizes.reference), 1) + BigEndian(objects.size(), 8) + BigEndian(0, 8) + table;
}

std::string Object(int kind, std::size_t count, const std::string& contents) {
  const auto marker = [&](std::size_t low) {
    return std::string(1, static_cast<char>(kind << 4 | static_cast<int>(low)));
  };
  if (count < 15) return marker(count) + contents;
  return marker(15) + '\x12' + BigEndian(count, 4) + contents;
}

std::string Ascii(const std::string& text) { return Object(5, text.size(), text); }

std::string References(const std::vector<std::uint64_t>& objects) {
  std::string bytes;
  for (const std::uint64_t object : objects) bytes += BigEndian(object, 2);
  return bytes;
}

std::string Array(const std::vector<std::uint64_t>& objects) {
  return Object(0xA, objects.size(), References(objects));
}

/// A dictionary of one key.
std::string BinaryWith(const std::string& value) {
  return Binary({Object(0xD, 1, References({1, 2})), Ascii(kKey), value});
}

TEST(InfoPlist, TextsInXML) {
  const std::string key = "<key>CFBundleVersion</key>";
  const struct {
    std::string list, text;
  } cases[] = {
      {Dictionary(key + "<string>2.14</string>"), "2.14"},
      {Dictionary("<key>a</key><array><dict/><true/></array>" + key +
                  "<string>2.14</string><key>z</key><integer>1"
                  "</integer>"),
       "2.14"},
      {Dictionary("\n\t<!-- a <dict> -->\n\t" + key + "\n\t<string>2.14</string>\n"), "2.14"},
      {Dictionary(key + "<string>a &lt;&amp;&gt; &#65;&#xFC;</string>"), "a <&> Aü"},
      {Dictionary(key + "<string><![CDATA[<2.14>]]></string>"), "<2.14>"},
      {Dictionary(key + "<string>Grüße</string>"), "Grüße"},
      {Dictionary(key + "<string></string>"), ""},
      {Dictionary(key + "<string/>"), ""},
      // No text, another place, another key.
      {Dictionary(key + "<integer>2</integer>"), ""},
      {Dictionary(key + "<real>2.14</real>"), ""},
      {Dictionary(key + "<true/>"), ""},
      {Dictionary(key + "<array><string>2.14</string></array>"), ""},
      {Dictionary("<key>a</key><dict>" + key + "<string>2.14</string></dict>"), ""},
      {Dictionary("<key>CFBundleShortVersionString</key><string>2.14</string>"), ""},
      {Dictionary("<key>cfbundleversion</key><string>2.14</string>"), ""},
      {Dictionary(""), ""},
      {List("<array>" + key + "<string>2.14</string></array>"), ""},
      {List("<string>CFBundleVersion</string>"), ""},
      {List(""), ""},
      // No list.
      {"", ""},
      {"2.14", ""},
      {"{ CFBundleVersion = \"2.14\"; }", ""},
      {"{\"CFBundleVersion\": \"2.14\"}", ""},
      {"<dict>", ""},
      {kHead, ""},
      {kHead + "<dict>" + key + "<string>2.14", ""},
      {kHead + "<dict>" + key + "<string>2.14</dict></plist>", ""},
      {Dictionary(key), ""},
      {Dictionary("<string>2.14</string>"), ""},
      {Dictionary(key + "<string>&unknown;</string>"), ""},
      {Dictionary(key + "<strong>2.14</strong>"), ""},
      {std::string(1000, '\0'), ""},
      {std::string(1000, '<'), ""},
  };
  for (const auto& c : cases) EXPECT_EQ(InfoPlistText(c.list, kKey), c.text) << c.list;
}

TEST(InfoPlist, TextsInTheBinaryForm) {
  EXPECT_EQ(InfoPlistText(BinaryWith(Ascii("2.14")), kKey), "2.14");
  EXPECT_EQ(InfoPlistText(BinaryWith(Ascii(std::string(300, '7'))), kKey), std::string(300, '7'));
  EXPECT_EQ(InfoPlistText(BinaryWith(Object(6, 2, std::string("\0v\0\xFC", 4))), kKey), "vü");
  EXPECT_EQ(InfoPlistText(BinaryWith(Ascii("")), kKey), "");
  EXPECT_EQ(InfoPlistText(BinaryWith(Object(1, 0, "\x02")), kKey), "");
  EXPECT_EQ(InfoPlistText(BinaryWith("\x09"), kKey), "");
  EXPECT_EQ(InfoPlistText(BinaryWith(Array({1})), kKey), "");
  EXPECT_EQ(InfoPlistText(BinaryWith(Ascii("2.14")), "CFBundle"), "");
  EXPECT_EQ(InfoPlistText(Binary({Ascii(kKey)}), kKey), "");
}

TEST(InfoPlist, ABinaryListThatEndsEarlyOrLiesHasNoTextOrTheSame) {
  const std::string whole = BinaryWith(Ascii("2.14"));
  for (std::size_t size = 0; size < whole.size(); ++size) {
    EXPECT_EQ(InfoPlistText(whole.substr(0, size), kKey), "") << size;
  }
  for (std::size_t at = 0; at < whole.size(); ++at) {
    for (int byte = 0; byte < 256; ++byte) {
      std::string other = whole;
      other[at] = static_cast<char>(byte);
      EXPECT_LE(InfoPlistText(other, kKey).size(), whole.size());
    }
  }
}

TEST(InfoPlist, MayBeOneMebibyteLarge) {
  const std::string list = Dictionary("<key>CFBundleVersion</key><string>2.14</string>");
  const std::string full = list + std::string(platform::kMaximumInfoPlist - list.size(), '\n');
  EXPECT_EQ(InfoPlistText(full, kKey), "2.14");
  EXPECT_EQ(InfoPlistText(full + '\n', kKey), "");
}

// Whatever is nested becomes functions that call themselves.
TEST(InfoPlist, XMLIsNotTooDeep) {
  const std::string value = "<key>CFBundleVersion</key><string>2.14</string>";
  const auto nested = [&](std::size_t depth) {
    return Dictionary("<key>a</key>" + Repeat("<array>", depth) + Repeat("</array>", depth) + value);
  };
  EXPECT_EQ(InfoPlistText(nested(4095), kKey), "2.14");
  EXPECT_EQ(InfoPlistText(nested(4096), kKey), "");
  EXPECT_EQ(InfoPlistText(nested(60000), kKey), "");
  EXPECT_EQ(InfoPlistText(List(Repeat("<array>", 140000)), kKey), "");
  EXPECT_EQ(InfoPlistText(List(Repeat("<dict><key/>", 80000)), kKey), "");
  // Nor by comments and attributes that seem to end what they do not.
  EXPECT_FALSE(IsPlistModest(List(Repeat("<array><!--</array>-->", 40000))));
  EXPECT_FALSE(IsPlistModest(List(Repeat("<array a=\"</array>\">", 40000))));
}

TEST(InfoPlist, ABinaryListIsNotTooDeep) {
  const auto nested = [](std::uint64_t depth) {
    std::vector<std::string> objects = {Object(0xD, 2, References({1, 3, 2, 4})), Ascii(kKey), Ascii("2.14"),
                                        Ascii("a")};
    // The keys come first, then their values.
    objects[0] = Object(0xD, 2, References({1, 3, 2, 4}));
    for (std::uint64_t i = 0; i < depth; ++i) objects.push_back(Array({5 + i}));
    objects.push_back(Array({}));
    return Binary(objects);
  };
  EXPECT_EQ(InfoPlistText(nested(63), kKey), "2.14");
  EXPECT_EQ(InfoPlistText(nested(64), kKey), "");
  EXPECT_EQ(InfoPlistText(nested(60000), kKey), "");
}

TEST(InfoPlist, ABinaryListDoesNotContainItself) {
  EXPECT_EQ(InfoPlistText(Binary({Array({0})}), kKey), "");
  EXPECT_EQ(InfoPlistText(Binary({Object(0xD, 1, References({1, 0})), Ascii(kKey)}), kKey), "");
  EXPECT_EQ(InfoPlistText(Binary({Array({1}), Array({2}), Array({1})}), kKey), "");
}

// What is referred to twice is read twice.
TEST(InfoPlist, ABinaryListDoesNotMultiply) {
  std::vector<std::string> doubling;
  for (std::uint64_t i = 1; i < 50; ++i) doubling.push_back(Array({i, i}));
  doubling.push_back(Array({}));
  EXPECT_FALSE(IsPlistModest(Binary(doubling)));
  const std::string large = Ascii(std::string(500000, 'x'));
  EXPECT_TRUE(IsPlistModest(Binary({Array(std::vector<std::uint64_t>(8, 1)), large})));
  EXPECT_FALSE(IsPlistModest(Binary({Array(std::vector<std::uint64_t>(9, 1)), large})));
  EXPECT_TRUE(IsPlistModest(Binary({Array(std::vector<std::uint64_t>(100000, 1)), Ascii("")})));
  EXPECT_FALSE(IsPlistModest(Binary({Array(std::vector<std::uint64_t>(150000, 1)), Ascii("")})));
}

TEST(InfoPlist, ABinaryListWhoseNumbersAreOutOfRangeIsNotModest) {
  const std::string good = BinaryWith(Ascii("2.14"));
  ASSERT_TRUE(IsPlistModest(good));
  const std::size_t trailer = good.size() - 32;
  const struct {
    std::size_t at;
    std::string bytes;
  } cases[] = {
      {trailer + 6, std::string(1, '\0')},
      {trailer + 6, "\xFF"},
      {trailer + 7, std::string(1, '\0')},
      {trailer + 7, "\x09"},
      {trailer + 8, BigEndian(0, 8)},
      {trailer + 8, BigEndian(1, 8)},
      {trailer + 16, BigEndian(3, 8)},
      {trailer + 16, std::string(8, '\xFF')},
      {trailer + 24, BigEndian(good.size(), 8)},
      {trailer + 24, std::string(8, '\xFF')},
      // The dictionary's count, in bytes of its own, which are too many or no number.
      {8, "\xDF\x1F"},
      {8, "\xDF\x14"},
      {8, "\xDF\x20"},
  };
  for (const auto& c : cases) {
    std::string list = good;
    list.replace(c.at, c.bytes.size(), c.bytes);
    EXPECT_FALSE(IsPlistModest(list)) << c.at;
    EXPECT_EQ(InfoPlistText(list, kKey), "") << c.at;
  }
}

}  // namespace
