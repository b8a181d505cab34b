#include <string>

#include <gtest/gtest.h>

#include <tests/support/path_calls.h>
#include <tillvane/files/LFile.h>

namespace {

using support::calls::Absolute;
using support::calls::Join;
using support::calls::Output;

std::string Xs(std::size_t count) { return std::string(count, 'x'); }

struct Case {
  std::string folder, name, suffix, path;
  unsigned long stored;
};

TEST(PathJoin, FolderNameAndSuffix) {
  const Case cases[] = {{"/x", "y", "", "/x/y", 1},
                        {"/x/", "y", "", "/x/y", 1},
                        {"C:\\x\\", "y", "", "C:\\x\\y", 1},
                        {"", "y", "", "y", 1},
                        {"", "y", ".lck", "y.lck", 5},
                        {"/x", "y", ".lck", "/x/y.lck", 5},
                        {"/", "y", "", "/y", 1},
                        {"/x", "", "", "/x/", 0},
                        {"/x", "", ".lck", "/x/.lck", 4},
                        {"", "", "", "", 0},
                        {"/x", "/y", "", "/x//y", 2},
                        {"/x", "100%s%d", "%n", "/x/100%s%d%n", 9},
                        // What is too long is cut, and only what is stored counts.
                        {Xs(300), "y", "", Xs(258) + "/", 0},
                        {Xs(259), "y", "", Xs(258) + "/", 0},
                        {Xs(258), "y", "", Xs(258) + "/", 0},
                        {Xs(257), "y", "", Xs(257) + "/y", 1},
                        {Xs(257) + "/", "y", ".z", Xs(257) + "/y", 1},
                        {Xs(256) + "/", "y", ".z", Xs(256) + "/y.", 2},
                        {Xs(258) + "/", "y", "", Xs(258) + "/", 0},
                        {"/x", Xs(300), ".z", "/x/" + Xs(256), 256},
                        {"", Xs(258), ".z", Xs(258) + ".", 259},
                        {"", Xs(300), "", Xs(259), 259}};
  for (const Case& one : cases) {
    SCOPED_TRACE(one.folder + ", " + one.name + ", " + one.suffix);
    EXPECT_EQ(Join(one.folder, one.name, one.suffix), (support::reference::PathAnswer{one.path, one.stored}));
    if (one.folder.size() >= 260) continue;
    Output out(one.folder);
    EXPECT_EQ(LFile::_MakeFilePath(out, out, one.name.c_str(), one.suffix.c_str()), one.stored);
    EXPECT_EQ(out.Text(), one.path) << "in place";
  }
}

TEST(PathJoin, AbsoluteOfRelative) {
  const Case cases[] = {
      {"/a/b/", "x", "", "/a/b/x", 1},
      {"/a/b", "x", ".lck", "/a/b/x.lck", 5},
      // What is absolute already.
      {"/a/b/", "/abs", "", "/abs", 4},
      {"/a/b/", "\\abs", ".lck", "\\abs.lck", 8},
      {"/a/b/", "C:stuff", "", "C:stuff", 7},
      {"/a/b/", "C:\\stuff", "", "C:\\stuff", 8},
      {"/a/b/", ":", "", ":", 1},
      {"/a/b/", "../x:y/z", "", "/a/x:y/z", 5},
      {"/a/b/", "x/C:y", "", "/a/b/x/C:y", 5},
      {"/a/b/", "x\\C:y", "", "/a/b/x\\C:y", 5},
      // Steps.
      {"/a/b/", "./x", "", "/a/b/x", 1},
      {"/a/b/", ".\\./x", "", "/a/b/x", 1},
      {"/a/b/", "../x", "", "/a/x", 1},
      {"/a/b/", "..\\x", "", "/a/x", 1},
      {"/a/b/", "./.././x", "", "/a/x", 1},
      {"C:\\a\\b\\", "..\\x", "", "C:\\a/x", 1},
      {"/a/bb/cc/", "../../x", "", "/a/x", 1},
      {"/a/b/", "../", "", "/a/", 0},
      // What only looks like one.
      {"/a/b/", ".hidden", "", "/a/b/.hidden", 7},
      {"/a/b/", "..hidden", "", "/a/b/..hidden", 8},
      {"/a/b/", ".../x", "", "/a/b/.../x", 5},
      {"/a/b/", ".", "", "/a/b/.", 1},
      {"/a/b/", "..", "", "/a/b/..", 2},
      {"/a/b/", "../..", "", "/a/..", 2},
      {"/a/b/", "x/../y", "", "/a/b/x/../y", 6},
      {"/a/b/", "", "", "/a/b/", 0},
      // Two characters and fewer.
      {"/a/b/", "../../x", "", "/a/x", 1},
      {"/a/b/", "../../../x", "", "/a/x", 1},
      {"/a/", "../x", "", "x", 1},
      {"ab", "../x", "", "ab/x", 1},
      {"//", "../x", "", "//x", 1},
      {"/", "../x", "", "/../x", 4},
      {"", "../x", "", "../x", 4},
      {"", "./x", "", "x", 1},
      // Without a separator at its end a base loses one folder too many.
      {"/a/b", "../x", "", "x", 1},
      {"/a/b", "../../x", "", "../x", 4},
      {"/a/b/c/", "../../x", "", "x", 1},
      {"/a/bc", "../x", "", "/a/x", 1},
      {"abc", "../x", "", "abc/x", 1},
      // Of a long base 259 characters are stepped out of, and 258 joined.
      {Xs(300), "x", "", Xs(258) + "/", 0},
      {"/a/" + Xs(300), "../x", "", "/a/x", 1},
      {"/" + Xs(255) + "/yz", "../x", "", "/" + Xs(255) + "/x", 1},
      {"/" + Xs(254) + "/yz/", "../x", "", "/" + Xs(254) + "/x", 1},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.folder + ", " + one.name + ", " + one.suffix);
    EXPECT_EQ(Absolute(one.folder, one.name, one.suffix), (support::reference::PathAnswer{one.path, one.stored}));
    if (one.folder.size() >= 260) continue;
    Output out(one.folder);
    EXPECT_EQ(LFile::MakeAbsoluteFilePath(out, out, one.name.c_str(), one.suffix.c_str()), one.stored);
    EXPECT_EQ(out.Text(), one.path) << "in place";
  }
}

}  // namespace
