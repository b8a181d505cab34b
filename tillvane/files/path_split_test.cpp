#include <string>

#include <gtest/gtest.h>

#include <tests/support/path_calls.h>
#include <tillvane/files/LFile.h>

namespace {

using support::calls::SplitInPlace;
using support::calls::SplitOf;
using support::calls::WithExtension;

std::string Repeat(const std::string& text, std::size_t count) {
  std::string all;
  for (; count > 0; --count) all += text;
  return all;
}

struct Case {
  std::string path, part;
};

/// Into another buffer, and into the path's own where that is one.
template <support::calls::Split kSplit, std::size_t kCount>
void Check(const Case (&cases)[kCount]) {
  for (const Case& one : cases) {
    EXPECT_EQ(SplitOf<kSplit>(one.path), one.part) << one.path;
    if (one.path.size() >= 260) continue;
    EXPECT_EQ(SplitInPlace<kSplit>(one.path), one.part) << one.path << ", in place";
  }
}

TEST(PathSplit, Folder) {
  const Case cases[] = {{"/a/b/c.txt", "/a/b"},
                        {"/a/b/", "/a/b"},
                        {"/a/", "/a"},
                        {"/file", "/"},
                        {"/", "/"},
                        {"", ""},
                        {"file", ""},
                        {"\\c.txt", ""},
                        {"\\", ""},
                        {"a/b", "a"},
                        {"a\\b", "a"},
                        {"/a\\b", "/a"},
                        {"\\a/b", "\\a"},
                        {"//", "/"},
                        {"//a", "/"},
                        {"\\\\a", "\\"},
                        {"a//b", "a/"},
                        {"C:\\dir\\x", "C:\\dir"},
                        {"a/", "a"},
                        // Of a long path the first 259 characters count.
                        {"/a/" + Repeat("x", 400), "/a"},
                        {"/" + Repeat("x", 257) + "/y", "/" + Repeat("x", 257)},
                        {"/" + Repeat("x", 258) + "/y", "/"},
                        {Repeat("x", 259) + "/y", ""},
                        {Repeat("ab/", 200), Repeat("ab/", 85) + "ab"}};
  Check<LFile::_GetFolderFromPath>(cases);
}

TEST(PathSplit, BaseFolder) {
  const Case cases[] = {{"/Volumes/Disk/x", "/Volumes"},
                        {"C:\\dir\\x", "C:"},
                        {"/", "/"},
                        {"\\", "\\"},
                        {"//", "/"},
                        {"\\/", "\\"},
                        {"///", "//"},
                        {"/a", "/a"},
                        {"/a/", "/a"},
                        {"//host/share", "//host"},
                        {"\\\\host\\share", "\\\\host"},
                        {"a/", "a"},
                        {"a/b", "a/b"},
                        {"a/b/c", "a/b"},
                        {"ab/c", "ab"},
                        {"a", "a"},
                        {"", ""},
                        {"name", "name"},
                        {Repeat("x", 400), Repeat("x", 259)},
                        {Repeat("x", 258) + "/y", Repeat("x", 258)},
                        {Repeat("x", 259) + "/y", Repeat("x", 259)}};
  Check<LFile::_GetBaseFolderFromPath>(cases);
}

TEST(PathSplit, File) {
  const Case cases[] = {{"/a/b/c.txt", "c.txt"},
                        {"/a/b/", ""},
                        {"", ""},
                        {"/", ""},
                        {"file", "file"},
                        {"\\c.txt", "c.txt"},
                        {"a/b\\c", "c"},
                        {"a\\b/c", "c"},
                        // The whole of a long path counts; its file is cut.
                        {Repeat("x/", 200) + "y", "y"},
                        {"/" + Repeat("y", 259), Repeat("y", 259)},
                        {Repeat("x", 300) + "/" + Repeat("y", 300), Repeat("y", 259)}};
  Check<LFile::_GetFileFromPath>(cases);
}

TEST(PathSplit, FileName) {
  const Case cases[] = {{"a.tar.gz", "a.tar"},
                        {".profile", ".profile"},
                        {"README", "README"},
                        {"/a/b.c/d.txt", "d"},
                        {"/a/b.c/d", "d"},
                        {"/a/.profile", ".profile"},
                        {"\\a.b\\.c.d", ".c"},
                        {"/a.b/", ""},
                        {"", ""},
                        {".", "."},
                        {"..", "."},
                        {"a.", "a"},
                        {"a..", "a."},
                        {Repeat("y", 300) + ".txt", Repeat("y", 259)},
                        {"a." + Repeat("y", 300), "a"}};
  Check<LFile::_GetFileNameFromPath>(cases);
}

TEST(PathSplit, FileExtension) {
  const Case cases[] = {{"/a/b.c/d.txt", ".txt"},
                        {"/a/b.c/d", ""},
                        {".profile", ".profile"},
                        {"/a/.profile", ".profile"},
                        {"\\a.b\\c", ""},
                        {"a.tar.gz", ".gz"},
                        {"README", ""},
                        {"", ""},
                        {"a.", "."},
                        {"..", "."},
                        {"/a.b/", ""},
                        {Repeat("x", 300) + ".txt", ".txt"},
                        {Repeat("x", 300) + "." + Repeat("y", 300), "." + Repeat("y", 258)}};
  Check<LFile::_GetFileExtensionFromPath>(cases);
}

TEST(PathSplit, NewExtension) {
  struct {
    std::string path, extension, result;
  } const cases[] = {{"/t/data.db", ".lck", "/t/data.lck"},
                     {"/t/data", ".lck", "/t/data.lck"},
                     {"", ".lck", ".lck"},
                     {"/a.b/c", ".lck", "/a.b/c.lck"},
                     {"\\a.b\\c", ".lck", "\\a.b\\c.lck"},
                     {".profile", ".lck", ".profile.lck"},
                     {".a.b", ".lck", ".a.lck"},
                     {"/.profile", ".lck", "/.lck"},
                     {"/t/.profile", ".lck", "/t/.lck"},
                     {"a.tar.gz", ".lck", "a.tar.lck"},
                     {"a.b", "", "a"},
                     {"a.b", "c", "ac"},
                     {"a/", ".b", "a/.b"},
                     {Repeat("x", 300), ".lck", Repeat("x", 259)},
                     {Repeat("x", 300) + ".db", ".lck", Repeat("x", 259)},
                     {Repeat("x", 257), ".lck", Repeat("x", 257) + ".l"},
                     {Repeat("x", 255), ".lck", Repeat("x", 255) + ".lck"},
                     {"a." + Repeat("x", 300), ".lck", "a.lck"},
                     {"a.b", "." + Repeat("y", 300), "a." + Repeat("y", 257)}};
  for (const auto& one : cases) {
    EXPECT_EQ(WithExtension(one.path, one.extension), one.result) << one.path << ", " << one.extension;
    if (one.path.size() >= 260) continue;
    support::calls::Output out(one.path);
    LFile::_ApplyNewFileExtension(out, out, one.extension.c_str());
    EXPECT_EQ(out.Text(), one.result) << one.path << ", in place";
  }
}

}  // namespace
