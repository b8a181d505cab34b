#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include <gtest/gtest.h>

#include <tests/support/guarded_text.h>
#include <tests/support/temp_folder.h>
#include <tillvane/platform/native_url.h>
#include <tillvane/system/LCFURL.h>

namespace {

std::string PathOf(const LCFURL& url) {
  support::GuardedText path(1024);
  const bool is_there = url.GetPath(path.Get(), 1024);
  return is_there ? path.Text() : "no path";
}

TEST(CFURL, HoldsTheEncodedPath) {
  const struct {
    std::string path, encoded;
  } cases[] = {
      {"/tmp", "%2Ftmp"},
      {"/", "%2F"},
      {"a-b!c.d_e~f", "a-b!c.d_e~f"},
      {"/a b/ü%", "%2Fa%20b%2F%C3%BC%25"},
      {"\xFF", "%FF"},
      {std::string(259, 'x'), std::string(259, 'x')},
      {std::string(300, 'x'), std::string(259, 'x')},
      // An escape may be cut.
      {std::string(257, 'x') + "/y", std::string(257, 'x') + "%2"},
      {std::string(258, 'x') + "/y", std::string(258, 'x') + "%"},
  };
  LCFURL url;
  for (const auto& c : cases) {
    EXPECT_TRUE(url.CreateFromFullPath(c.path.c_str())) << c.path;
    EXPECT_EQ(PathOf(url), c.encoded) << c.path;
  }
}

TEST(CFURL, IsAFoldersWhenThePathAsGivenIs) {
  const support::TempFolder folder;
  const std::string file = folder.Write("file", "");
  ASSERT_EQ(symlink(folder.Path().c_str(), folder.File("link").c_str()), 0);
  // Where the encoded path leads is not looked at.
  ASSERT_EQ(mkdir(folder.File("%2Fno").c_str(), 0700), 0);
  const struct {
    std::string path;
    bool is_folder;
  } cases[] = {{folder.Path(), true},
               {folder.Path() + "/", true},
               {folder.File("link"), true},
               {file, false},
               {"/", true},
               {".", true},
               {folder.File("missing"), false},
               {"/no", false},
               {folder.Path() + "/%2Fno", true}};
  LCFURL url;
  for (const auto& c : cases) {
    ASSERT_TRUE(url.CreateFromFullPath(c.path.c_str()));
    EXPECT_EQ(platform::IsURLOfFolder(url.Get()), c.is_folder) << c.path;
  }
}

TEST(CFURL, OfNothingHasNoPath) {
  LCFURL url;
  for (const char* path : {static_cast<const char*>(nullptr), ""}) {
    ASSERT_TRUE(url.CreateFromFullPath("/tmp"));
    EXPECT_FALSE(url.CreateFromFullPath(path));
    EXPECT_EQ(url.Get(), nullptr);
    EXPECT_EQ(PathOf(url), "no path");
  }
  support::GuardedText empty(1);
  EXPECT_FALSE(url.GetPath(empty.Get(), 1));
  EXPECT_EQ(empty.Text(), "");
}

TEST(CFURL, WritesAsMuchOfThePathAsFits) {
  LCFURL url;
  ASSERT_TRUE(url.CreateFromFullPath("/tmp"));
  for (const auto& [capacity, path] : {std::pair(1ul, ""), std::pair(4ul, "%2F"), std::pair(7ul, "%2Ftmp")}) {
    support::GuardedText buffer(capacity);
    EXPECT_TRUE(url.GetPath(buffer.Get(), capacity));
    EXPECT_EQ(buffer.Text(), path);
  }
  support::GuardedText nothing(0);
  url.GetPath(nothing.Get(), 0);
}

}  // namespace
