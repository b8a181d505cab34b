#include <tillvane/platform/linux/scoped_bookmark_linux.h>

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using platform::BookmarkRecord;
using platform::DecodeBookmark;
using platform::EncodeBookmark;
using platform::FileIdentity;
using platform::PortalDocument;

const FileIdentity kIdentity{0xFFFFFFFF, 7, 0xFFEEDDCCBBAA9988, true, -1, 999999999};

void ExpectEqual(const BookmarkRecord& a, const BookmarkRecord& b) {
  EXPECT_EQ(a.path, b.path);
  EXPECT_TRUE(a.identity == b.identity) << a.path;
  EXPECT_EQ(a.document.id, b.document.id);
  EXPECT_EQ(a.document.rest, b.document.rest);
}

TEST(ScopedBookmark, ComesBackAsItWas) {
  const BookmarkRecord cases[] = {
      {"/", {}, {}},
      {"/home/ada/\xC3\xBC.txt", kIdentity, {}},
      {"/not utf-8 \xFF", kIdentity, {}},
      {"/run/user/1000/doc/1a2b/x/y", {}, {"1a2b", "x/y"}},
      {'/' + std::string(4094, 'x'), kIdentity, {}},
  };
  for (const BookmarkRecord& record : cases) {
    const auto bytes = EncodeBookmark(record);
    ASSERT_TRUE(bytes) << record.path;
    const auto decoded = DecodeBookmark(*bytes);
    ASSERT_TRUE(decoded) << record.path;
    ExpectEqual(*decoded, record);
  }
}

TEST(ScopedBookmark, IsTheSameEverywhere) {
  const auto bytes = EncodeBookmark({"/a", kIdentity, {}});
  ASSERT_TRUE(bytes);
  const unsigned char head[] = {'L',  'B',  'M',  'K',  1,    1,    0xFF, 0xFF, 0xFF, 0xFF, 7,    0,    0,    0,
                                0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
                                0xFF, 0xFF, 0xFF, 0xC9, 0x9A, 0x3B, 2,    0,    '/',  'a',  0,    0,    0,    0};
  ASSERT_EQ(bytes->size(), sizeof head + 4);
  EXPECT_EQ(std::vector<unsigned char>(bytes->begin(), bytes->end() - 4),
            std::vector<unsigned char>(head, head + sizeof head));
}

TEST(ScopedBookmark, IsOfAPath) {
  for (const std::string& path : {std::string(), std::string("relative"), '/' + std::string(4095, 'x')}) {
    EXPECT_FALSE(EncodeBookmark({path, kIdentity, {}})) << path;
  }
  EXPECT_FALSE(EncodeBookmark({std::string("/a\0b", 4), kIdentity, {}}));
}

/// What is no document of the portal's.
std::vector<PortalDocument> NoDocuments() {
  const std::string longest(4095, 'x');
  return {{"1a", ""},   {"", "x"},      {"1/a", "x"},         {"1\xC3\xBC", "x"},   {"1\xFF", "x"},
          {"1\n", "x"}, {"1\x7F", "x"}, {longest + 'x', "x"}, {"1a", longest + 'x'}};
}

TEST(ScopedBookmark, IsOfADocumentThatIsOne) {
  for (const PortalDocument& document : NoDocuments()) {
    EXPECT_FALSE(EncodeBookmark({"/x", kIdentity, document})) << document.id;
  }
}

TEST(ScopedBookmark, DamageIsAnError) {
  const auto bytes = EncodeBookmark({"/run/user/1000/doc/1a2b/x", kIdentity, {"1a2b", "x"}});
  ASSERT_TRUE(bytes);
  for (std::size_t size = 0; size < bytes->size(); ++size) {
    EXPECT_FALSE(DecodeBookmark({bytes->begin(), bytes->begin() + static_cast<std::ptrdiff_t>(size)})) << size;
  }
  for (std::size_t bit = 0; bit < 8 * bytes->size(); ++bit) {
    auto damaged = *bytes;
    damaged[bit / 8] = static_cast<unsigned char>(damaged[bit / 8] ^ 1u << bit % 8);
    EXPECT_FALSE(DecodeBookmark(damaged)) << bit;
  }
  auto longer = *bytes;
  longer.push_back(0);
  EXPECT_FALSE(DecodeBookmark(longer));
}

/// With a checksum that is right.
std::vector<unsigned char> Seal(std::vector<unsigned char> bytes) {
  std::uint32_t sum = 2166136261u;
  for (const unsigned char byte : bytes) sum = (sum ^ byte) * 16777619u;
  for (int i = 0; i < 4; ++i) bytes.push_back(static_cast<unsigned char>(sum >> (8 * i)));
  return bytes;
}

TEST(ScopedBookmark, NonsenseIsAnErrorThoughTheSumIsRight) {
  const auto bytes = EncodeBookmark({"/run/doc/1a/xy", kIdentity, {"1a", "xy"}});
  ASSERT_TRUE(bytes);
  const std::vector<unsigned char> good(bytes->begin(), bytes->end() - 4);
  ASSERT_TRUE(DecodeBookmark(Seal(good)));
  constexpr std::size_t version = 4, flags = 5, path_size = 34, path = 36, id = 52, rest = 56;
  const struct {
    const char* what;
    std::size_t at;
    unsigned char byte;
  } cases[] = {
      {"another mark", 0, 'X'},          {"a later version", version, 2},     {"an unknown flag", flags, 2},
      {"a relative path", path, 'x'},    {"a zero in the path", path + 1, 0}, {"a longer path", path_size, 15},
      {"a shorter path", path_size, 13}, {"a slash in an id", id, '/'},       {"a zero in an id", id + 1, 0},
      {"a zero in the rest", rest, 0},   {"a huge path", path_size + 1, 255},
  };
  for (const auto& c : cases) {
    auto damaged = good;
    damaged[c.at] = c.byte;
    EXPECT_FALSE(DecodeBookmark(Seal(damaged))) << c.what;
  }
  auto longer = good;
  longer.push_back(0);
  EXPECT_FALSE(DecodeBookmark(Seal(longer)));
  EXPECT_FALSE(DecodeBookmark(Seal({})));
  EXPECT_FALSE(DecodeBookmark(Seal({'L', 'B', 'M', 'K', 1})));
  // Everything before the document.
  const std::vector<unsigned char> head(good.begin(), good.end() - 8);
  const auto with = [&](const PortalDocument& document) {
    std::vector<unsigned char> all = head;
    for (const std::string& text : {document.id, document.rest}) {
      all.push_back(static_cast<unsigned char>(text.size() % 256));
      all.push_back(static_cast<unsigned char>(text.size() / 256));
      all.insert(all.end(), text.begin(), text.end());
    }
    return Seal(all);
  };
  ASSERT_TRUE(DecodeBookmark(with({"1a", std::string(4095, 'x')})));
  for (const PortalDocument& document : NoDocuments()) EXPECT_FALSE(DecodeBookmark(with(document))) << document.id;
}

}  // namespace
