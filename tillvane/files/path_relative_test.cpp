#include <string>

#include <gtest/gtest.h>

#include <tests/support/path_calls.h>
#include <tillvane/files/LFile.h>

namespace {

using support::calls::Output;
using support::calls::WayOf;
using support::reference::PathAnswer;

/// Longer than all that is written here.
constexpr std::size_t kLong = 4000;

std::string Repeat(const std::string& text, std::size_t count) {
  std::string all;
  for (; count > 0; --count) all += text;
  return all;
}

struct Case {
  std::string base, target, way;
};

/// Also when the output is the base, or the target.
template <support::calls::Way kWay>
void CheckInPlace(const Case& one, const PathAnswer& answer) {
  if (one.base.size() >= 260 || one.target.size() >= 260 || answer.out.size() >= 260) return;
  Output over_base(one.base), over_target(one.target);
  EXPECT_EQ(kWay(over_base, over_base, one.target.c_str()), static_cast<int>(answer.result));
  EXPECT_EQ(over_base.Text(), answer.out) << "over the base";
  EXPECT_EQ(kWay(over_target, one.base.c_str(), over_target), static_cast<int>(answer.result));
  EXPECT_EQ(over_target.Text(), answer.out) << "over the target";
}

TEST(PathRelative, FromAFolder) {
  const Case cases[] = {
      {"/a/b", "/a/b/c/d", "c/d"},
      {"/a/b/", "/a/b/c/d", "c/d"},
      {"/a/b/", "/a/x", "../x"},
      {"/a/b", "/a/x", "../x"},
      {"/a/b/c/d", "/a/x/y", "../../../x/y"},
      {"/a/b/", "/a/b/", ""},
      {"/a/b", "/a/b/", ""},
      {"/a/b/", "/a/b", "../"},
      {"/", "/a", "a"},
      {"", "/a", "a"},
      {"", "a", "../a"},
      {"", "", "../"},
      // What is common may end within a name.
      {"/a/bc/", "/a/bd/x", "../d/x"},
      {"/a/bc/", "/a/b/x", "../x"},
      {"/a/b/", "/a/bc/x", "../c/x"},
      {"/A/b/", "/a/b/x", "../../a/b/x"},
      // One slash is left out, not two.
      {"/ab/", "/a//x", "..//x"},
      {"/ab/", "/a///x", "..///x"},
      // A backslash is a character like any other.
      {"\\a\\b", "\\a\\x", "../x"},
      {"/a/b\\", "/a/b\\c", "../c"},
      {"/a\\b/", "/a\\c\\d", "../c\\d"},
      // The steps come on top of 259 characters.
      {Repeat("/a", 120), "/b" + Repeat("x", 300), Repeat("../", 120) + "b" + Repeat("x", 258)},
      {Repeat("/a", 600) + "/", "/b", Repeat("../", 600) + "b"},
      {"b", Repeat("x", 300), "../" + Repeat("x", 259)},
      // A base without a slash gets one where 259 characters have room for it.
      {Repeat("x", 258), Repeat("x", 258) + "/y", "y"},
      {Repeat("x", 259), Repeat("x", 259) + "/y", "y"},
      {Repeat("x", 258), "y", "../y"},
      {Repeat("x", 259), "y", "y"},
      {Repeat("/x", 129) + "y/z", "z", Repeat("../", 129) + "z"},
      {Repeat("/x", 129) + "y/", "z", Repeat("../", 130) + "z"},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.base + " to " + one.target);
    const PathAnswer answer{one.way, 1};
    EXPECT_EQ(WayOf<LFile::MakeRelativeFilePath>(one.base, one.target, kLong), answer);
    EXPECT_EQ(WayOf<LFile::MakeRelativeFolder>(one.base, one.target, kLong), answer);
    CheckInPlace<LFile::MakeRelativeFilePath>(one, answer);
  }
}

TEST(PathRelative, NoMoreIsWrittenThanThreeForEachSlash) {
  const std::string base = Repeat("/a", 100) + "/", target = "/b" + Repeat("x", 300);
  EXPECT_EQ(support::calls::Relative(base, target).out.size(), 3 * 100 + 259);
  constexpr std::size_t size = 3 * 101 + 260;
  EXPECT_EQ(WayOf<LFile::MakeRelativeFilePath>(base, target, size).out, Repeat("../", 100) + target.substr(1, 259));
}

TEST(PathRelative, BetweenAbsolutePaths) {
  const Case cases[] = {
      {"/a/b/", "/a/b/c", "c"},
      {"/a/b", "/a/b/c", "c"},
      {"/a/b/c", "/a/x/y", "../../x/y"},
      {"/a/b/c/", "/a/x/y", "../../x/y"},
      {"/a/b/", "/a/x", "../x"},
      {"/a/bc/", "/a/bd/x", "../bd/x"},
      {"/a/b", "/a/bc", "../bc"},
      {"/a/bc", "/a/b", "../b"},
      {"/a/b", "/a/b", "../b"},
      {"/a/b/", "/a/b", "../b"},
      {"/a/b/", "/a/b/", ""},
      {"/a/b/", "/a/b//c", "c"},
      {"/a/b", "/a/b//c", "/c"},
      {"/a/b/c", "/a/b", "../../b"},
      {"/", "/a", "a"},
      {"/a", "/", "../"},
      // No separator in common.
      {"a", "b", "b"},
      {"C:/a", "D:/a", "D:/a"},
      {"/a", "b", "b"},
      {"a", "/b", "/b"},
      {"a", "ab", "ab"},
      {"a", "a", "a"},
      {"ab", "a/b", "a/b"},
      {"", "", ""},
      {"", "a", "a"},
      {"a/b", "a", "a"},
      {"a", "b" + Repeat("x", 300), "b" + Repeat("x", 258)},
      // None, but the base ends where one begins.
      {"C:", "C:/x", "x"},
      {"C:", "C:\\x", "x"},
      {"", "/x", "x"},
      // Steps have the separator that is common last, and both are one.
      {"C:\\a\\b", "C:\\x\\y", "..\\..\\x\\y"},
      {"/a\\b/c", "/a\\x", "..\\..\\x"},
      {"\\a/b/c", "\\a/x", "../../x"},
      {"/a/b\\c/d", "/a/x", "../../../x"},
      {"/a/b", "\\a\\b", "\\a\\b"},
      // What is inside is cut.
      {"/a", "/a/" + Repeat("x", 300), Repeat("x", 259)},
      {"/a/", "/a/" + Repeat("x", 300), Repeat("x", 259)},
      // 260 characters are not too long, but the last of them has no room.
      {"/a", "/" + Repeat("x", 256), "../" + Repeat("x", 256)},
      {"/a", "/" + Repeat("x", 257), "../" + Repeat("x", 256)},
      {Repeat("/a", 86), "/b", Repeat("../", 86) + "b"},
      {Repeat("/a", 86), "/bc", Repeat("../", 86) + "b"},
      {Repeat("/a", 86), "/", Repeat("../", 86)},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.base + " to " + one.target);
    const PathAnswer answer{one.way, 1};
    EXPECT_EQ(support::calls::RelativeFromAbsolute(one.base, one.target), answer);
    CheckInPlace<LFile::GetRelativePathFromAbsolutePath>(one, answer);
  }
}

TEST(PathRelative, AWayThatIsTooLongIsRefused) {
  const Case cases[] = {{"/a", "/" + Repeat("x", 258), ""},
                        {Repeat("/a", 86), "/bcd", ""},
                        {Repeat("/a", 87), "/", ""},
                        {Repeat("/a", 500), "/" + Repeat("x", 500), ""},
                        {"/" + Repeat("x/", 100), "/y", ""}};
  for (const Case& one : cases) {
    SCOPED_TRACE(one.base + " to " + one.target);
    EXPECT_EQ(support::calls::RelativeFromAbsolute(one.base, one.target), (PathAnswer{"", 0}));
    CheckInPlace<LFile::GetRelativePathFromAbsolutePath>(one, {"", 0});
  }
}

}  // namespace
