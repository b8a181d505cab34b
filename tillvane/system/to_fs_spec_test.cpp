#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/guarded_text.h>
#include <tests/support/temp_folder.h>
#include <tillvane/system/LToFSSpec.h>

namespace {

/// A specification as its folder and name would be; told apart from an untouched one.
FSSpec Marked() {
  FSSpec spec;
  std::memset(&spec, '#', sizeof spec);
  return spec;
}

std::string NameIn(const FSSpec& spec) { return {reinterpret_cast<const char*>(spec.name) + 1, spec.name[0]}; }

std::string PathOf(const LToFSSpec& spec) {
  support::GuardedText path(1024);
  spec.GetString(path.Get(), 1024);
  return path.Text();
}

class ToFSSpec : public testing::Test {
 protected:
  ToFSSpec() {
    folder_.Write("file", "");
    EXPECT_EQ(mkdir(folder_.File("sub").c_str(), 0700), 0);
    std::ofstream(folder_.File("sub/inner")) << "";
    EXPECT_EQ(symlink("sub", folder_.File("to-sub").c_str()), 0);
    EXPECT_EQ(symlink("sub/inner", folder_.File("to-inner").c_str()), 0);
    EXPECT_EQ(symlink("nowhere", folder_.File("to-nothing").c_str()), 0);
    EXPECT_EQ(symlink("to-itself", folder_.File("to-itself").c_str()), 0);
  }

  const support::TempFolder folder_;
  const std::string root_ = std::filesystem::canonical(folder_.Path()).string();
};

TEST_F(ToFSSpec, FindsWhatIsThereAndNamesWhatIsNot) {
  const std::string longest(63, 'n');
  const struct {
    std::string path, found;
  } cases[] = {
      {"/file", "/file"},
      {"/sub", "/sub"},
      {"/sub/", "/sub"},
      {"/sub/.", "/sub"},
      {"/sub/../file", "/file"},
      {"//sub///inner", "/sub/inner"},
      // Links are followed.
      {"/to-sub", "/sub"},
      {"/to-sub/inner", "/sub/inner"},
      {"/to-inner", "/sub/inner"},
      // Not there, in a folder that is.
      {"/new", "/new"},
      {"/new/", "/new"},
      {"/sub/new.txt", "/sub/new.txt"},
      {"/to-sub/new", "/sub/new"},
      {"/sub/../new", "/new"},
      {"/to-nothing", "/to-nothing"},
      {"/to-itself", "/to-itself"},
      {"/a:b", "/a:b"},
      {"/" + longest, "/" + longest},
      {"/Grüße", "/Grüße"},
      {"/\xFF", "/\xFF"},
      // Neither.
      {"/new/file", ""},
      {"/file/inner", ""},
      {"/to-inner/x", ""},
      {"/to-nothing/x", ""},
      {"/to-itself/x", ""},
      {"/new/..", ""},
      {"/new/.", ""},
      {"/" + longest + "n", ""},
  };
  for (const auto& c : cases) {
    const std::string path = folder_.Path() + c.path;
    const LToFSSpec spec(path.c_str());
    EXPECT_EQ(spec.IsValid(), !c.found.empty()) << c.path;
    EXPECT_EQ(PathOf(spec), c.found.empty() ? "" : root_ + c.found) << c.path;
  }
}

TEST_F(ToFSSpec, HasTheFolderAndAPascalStringOfTheName) {
  FSSpec spec = Marked();
  ASSERT_TRUE(LToFSSpec::CStringToFSSpec(folder_.File("sub/new").c_str(), &spec));
  EXPECT_EQ(spec.parent, root_ + "/sub");
  EXPECT_EQ(NameIn(spec), "new");
  EXPECT_EQ(NameIn(LToFSSpec(folder_.File("sub/new").c_str()).Get()), "new");
  ASSERT_TRUE(LToFSSpec::CStringToFSSpec("/", &spec));
  EXPECT_STREQ(spec.parent, "/");
  EXPECT_EQ(NameIn(spec), "");
  ASSERT_TRUE(LToFSSpec::CStringToFSSpec("/no-such-object", &spec));
  EXPECT_STREQ(spec.parent, "/");
  EXPECT_EQ(NameIn(spec), "no-such-object");
}

TEST_F(ToFSSpec, OfTheRoot) {
  for (const char* path : {"/", "//", "/.", "/.."}) EXPECT_EQ(PathOf(LToFSSpec(path)), "/") << path;
  EXPECT_EQ(PathOf(LToFSSpec("/no-such-object")), "/no-such-object");
}

TEST_F(ToFSSpec, OfARelativePathIsAbsolute) {
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(folder_.File("sub"));
  for (const char* path : {"inner", "./inner", "../sub/inner", "../to-inner"}) {
    EXPECT_EQ(PathOf(LToFSSpec(path)), root_ + "/sub/inner") << path;
  }
  EXPECT_EQ(PathOf(LToFSSpec("new")), root_ + "/sub/new");
  EXPECT_EQ(PathOf(LToFSSpec(".")), root_ + "/sub");
  std::filesystem::current_path(before);
}

TEST_F(ToFSSpec, LeavesTheSpecificationWhereThereIsNone) {
  const std::string long_name = folder_.File(std::string(64, 'n'));
  std::ofstream(long_name) << "";
  const std::string deep =
      folder_.File(std::string(100, 'a') + '/' + std::string(100, 'b') + '/' + std::string(100, 'c'));
  std::filesystem::create_directories(deep);
  const std::string too_long(PATH_MAX, 'x');
  for (const std::string& path : {std::string(), folder_.File("no/file"), long_name, deep + "/new", deep + "/..",
                                  '/' + too_long, too_long + "/x"}) {
    FSSpec spec = Marked();
    const FSSpec before = spec;
    EXPECT_FALSE(LToFSSpec::CStringToFSSpec(path.c_str(), &spec)) << path;
    EXPECT_EQ(std::memcmp(&spec, &before, sizeof spec), 0) << path;
  }
  FSSpec spec;
  EXPECT_FALSE(LToFSSpec::CStringToFSSpec(nullptr, &spec));
  EXPECT_FALSE(LToFSSpec::CStringToFSSpec("/tmp", nullptr));
  EXPECT_EQ(PathOf(LToFSSpec(nullptr)), "");
}

TEST_F(ToFSSpec, OfAFolderWhosePathJustFits) {
  std::string folder = root_;
  while (folder.size() + 102 < 259) folder += '/' + std::string(100, 'a');
  folder += '/' + std::string(259 - folder.size() - 1, 'b');
  ASSERT_EQ(folder.size(), 259u);
  std::filesystem::create_directories(folder);
  EXPECT_EQ(PathOf(LToFSSpec((folder + "/new").c_str())), folder + "/new");
  std::filesystem::create_directories(folder + 'b');
  EXPECT_EQ(PathOf(LToFSSpec((folder + "b/new").c_str())), "");
}

TEST_F(ToFSSpec, WritesWholeCharactersThatFit) {
  const LToFSSpec spec("/no-such-ü");
  for (const auto& [capacity, path] : {std::pair(1ul, ""), std::pair(10ul, "/no-such-"), std::pair(11ul, "/no-such-"),
                                       std::pair(12ul, "/no-such-ü")}) {
    support::GuardedText buffer(capacity);
    spec.GetString(buffer.Get(), capacity);
    EXPECT_EQ(buffer.Text(), path);
  }
  support::GuardedText nothing(0);
  spec.GetString(nothing.Get(), 0);
}

}  // namespace
