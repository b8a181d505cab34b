#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/file_mask.h>
#include <tests/support/temp_folder.h>
#include <tillvane/files/LFile.h>
#include <tillvane/text/LTextFile.h>

namespace {

using support::TempFolder;

std::string Contents(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file.is_open()) << path;
  return {std::istreambuf_iterator<char>(file), {}};
}

LStringLong TextOf(const std::string& bytes) {
  LStringLong text;
  text.GrowToSize(bytes.size() + 1);
  bytes.copy(text.data(), bytes.size());
  text.SetLength(bytes.size());
  return text;
}

class TextFileSave : public testing::Test {
 protected:
  /// What marking a file of this folder answers.
  int Marking() const { return LFile::SetFileAttributeTextEncodingUTF8(folder_.Write("probe", "").c_str()); }

  const TempFolder folder_;
  const std::string path_ = folder_.File("file");
  const char* const file_ = path_.c_str();
};

TEST_F(TextFileSave, AFileIsMadeOrReplaced) {
  const int marking = Marking();
  for (const char* text : {"first", "a longer one\r\n\xC3\xA9", "x", ""}) {
    EXPECT_EQ(LSaveText(file_, text), marking);
    EXPECT_EQ(Contents(path_), text);
    EXPECT_EQ(LSaveText(file_, TextOf(text + std::string("!"))), marking);
    EXPECT_EQ(Contents(path_), text + std::string("!"));
  }
}

TEST_F(TextFileSave, TextIsAppended) {
  const int marking = Marking();
  EXPECT_EQ(LSaveAppendText(file_, "ab"), marking);
  EXPECT_EQ(LSaveAppendText(file_, TextOf("cd")), marking);
  EXPECT_EQ(LSaveAppendText(file_, ""), marking);
  EXPECT_EQ(Contents(path_), "abcd");
  folder_.Write("file", "\xEF\xBB\xBF");
  EXPECT_EQ(LSaveAppendText(file_, "x"), marking);
  EXPECT_EQ(Contents(path_), "\xEF\xBB\xBFx");
}

TEST_F(TextFileSave, OfAGrowableTextTheLengthCounts) {
  const std::string bytes("a\0b\xFF\0", 5);
  LSaveText(file_, TextOf(bytes));
  EXPECT_EQ(Contents(path_), bytes);
  LSaveAppendText(file_, TextOf(bytes));
  EXPECT_EQ(Contents(path_), bytes + bytes);
  LSaveText(file_, TextOf(bytes).c_str());
  EXPECT_EQ(Contents(path_), "a");
}

TEST_F(TextFileSave, WithoutTextNothingIsWritten) {
  folder_.Write("file", "old");
  LSaveAppendText(file_, LStringLong());
  LSaveAppendText(file_, static_cast<const char*>(nullptr));
  EXPECT_EQ(Contents(path_), "old");
  LSaveText(file_, LStringLong());
  EXPECT_EQ(Contents(path_), "");
  folder_.Write("file", "old");
  LSaveText(file_, static_cast<const char*>(nullptr));
  EXPECT_EQ(Contents(path_), "");
}

TEST_F(TextFileSave, UnicodeHasItsMark) {
  struct Case {
    std::string text, file;
  };
  const std::string mark = "\xFF\xFE";
  const Case cases[] = {{"\xC3\xA9", mark + std::string("\xE9\0", 2)},
                        {"", mark},
                        {"AB", mark + std::string("A\0B\0", 4)},
                        {"\xE6\x97\xA5", mark + "\xE5\x65"},
                        // Beyond 16 bits the low ones; what is not UTF-8, and a terminator, end the text.
                        {"\xF0\x9F\x98\x80x", mark + std::string("\x00\xF6x\0", 4)},
                        {"a\x80z", mark + std::string("a\0", 2)},
                        {std::string("a\0z", 3), mark + std::string("a\0", 2)}};
  folder_.Write("file", "a file that was longer than that");
  for (const Case& one : cases) {
    SCOPED_TRACE(one.text);
    EXPECT_EQ(LSaveTextAsUnicodeBOM(file_, TextOf(one.text)), 0);
    EXPECT_EQ(Contents(path_), one.file);
  }
  EXPECT_EQ(LSaveTextAsUnicodeBOM(file_, LStringLong()), 0);
  EXPECT_EQ(Contents(path_), mark);
}

TEST_F(TextFileSave, WhatDoesNotOpenIsMinusOne) {
  const std::string missing = folder_.File("missing/file");
  for (const char* path : {missing.c_str(), "", static_cast<const char*>(nullptr)}) {
    errno = 0;
    EXPECT_EQ(LSaveText(path, "x"), -1);
    EXPECT_NE(errno, 0);
    EXPECT_EQ(LSaveText(path, TextOf("x")), -1);
    EXPECT_EQ(LSaveAppendText(path, "x"), -1);
    EXPECT_EQ(LSaveAppendText(path, TextOf("x")), -1);
    errno = 0;
    EXPECT_EQ(LSaveTextAsUnicodeBOM(path, TextOf("x")), -1);
    EXPECT_EQ(errno, ENOENT);
  }
}

TEST_F(TextFileSave, ANewFileHasTheModeThatTheMaskLeaves) {
  const support::FileMask mask(027);
  LSaveText(file_, "x");
  LSaveTextAsUnicodeBOM(folder_.File("unicode").c_str(), TextOf("x"));
  for (const char* name : {"file", "unicode"}) {
    struct stat status;
    ASSERT_EQ(stat(folder_.File(name).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640u) << name;
  }
}

TEST_F(TextFileSave, ALinkStaysAndItsFileIsReplaced) {
  folder_.Write("file", "old");
  const std::string link = folder_.File("link");
  ASSERT_EQ(symlink("file", link.c_str()), 0);
  LSaveText(link.c_str(), "new");
  EXPECT_EQ(Contents(path_), "new");
  struct stat status;
  ASSERT_EQ(lstat(link.c_str(), &status), 0);
  EXPECT_TRUE(S_ISLNK(status.st_mode));
}

TEST_F(TextFileSave, WhatWasSavedIsLoaded) {
  std::string all;
  for (int c = 0; c < 256; ++c) all += static_cast<char>(c);
  LStringLong loaded;
  LSaveText(file_, TextOf(all));
  EXPECT_EQ(LLoadText(file_, loaded), 1);
  EXPECT_EQ(std::string(loaded.c_str(), loaded.size()), all);
  const char text[] =
      "Stra\xC3\x9F"
      "e, \xE6\x97\xA5\xE6\x9C\xAC";
  LSaveTextAsUnicodeBOM(file_, TextOf(text));
  for (const auto& load : {LLoadTextUnicode, LLoadTextAutoChar}) {
    EXPECT_EQ(load(file_, loaded), 1);
    EXPECT_STREQ(loaded.c_str(), text);
  }
}

}  // namespace
