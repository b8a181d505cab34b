#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/current_folder.h>
#include <tests/support/files.h>
#include <tests/support/temp_folder.h>
#include <tests/support/virtual_slots.h>
#include <tillvane/files/LFileFolderIterator.h>

namespace {

using support::MakeFile;
using support::MakeFolder;
using support::SlotOf;
using support::TempFolder;
using Names = std::set<std::string>;

/// What is listed from an opened iterator on; each name once.
Names Rest(LFile::FolderIterator& files, int found) {
  Names names;
  for (; found != 0; found = files.Next()) EXPECT_TRUE(names.insert(files.entry.d_name).second) << files.entry.d_name;
  EXPECT_EQ(files.dir, nullptr);
  EXPECT_STREQ(files.entry.d_name, "");
  return names;
}

template <class Iterator, class... Arguments>
Names List(const Arguments&... arguments) {
  Iterator files;
  return Rest(files, files.Open(arguments.c_str()...));
}

Names ListMatches(const std::string& folder, const std::string& pattern) {
  return List<LFile::FolderIterator>(folder, pattern);
}

Names ListAll(const std::string& path) { return List<LFile::FolderIteratorAllFiles>(path); }

TEST(FolderIterator, VirtualFunctionsHaveTheirPlaces) {
  EXPECT_EQ(SlotOf(&LFile::FolderIterator::_Matches), 2);
  EXPECT_EQ(SlotOf(&LFile::FolderIteratorAllFiles::_Matches), 2);
  EXPECT_EQ(SlotOf(&LFile::FolderIterator::Next), -1);
  EXPECT_EQ(SlotOf(&LFile::FolderIterator::_GetNextFile), -1);
}

TEST(FolderIterator, GoesDownIntoItsOwnEntry) {
  const TempFolder folder;
  MakeFolder(folder.File("inner"));
  folder.Write("inner/file", "");
  const support::CurrentFolder there(folder.Path());
  LFile::FolderIterator files;
  ASSERT_EQ(files.Open(".", "inner"), 1);
  ASSERT_EQ(files.Open(files.entry.d_name, "*"), 1);
  EXPECT_STREQ(files.entry.d_name, "file");
  EXPECT_STREQ(files.folder, "inner");
}

TEST(FolderIterator, ANewOneStandsNowhere) {
  LFile::FolderIterator files;
  EXPECT_EQ(files.dir, nullptr);
  EXPECT_STREQ(files.entry.d_name, "");
  EXPECT_STREQ(files.folder, "");
  EXPECT_STREQ(files.pattern, "");
  EXPECT_EQ(files.Next(), 0);
  EXPECT_EQ(files._GetNextFile(), 0);
}

TEST(FolderIterator, ListsWhatMatches) {
  const TempFolder folder;
  for (const char* name : {".hidden", ".hidden.txt", "a.TXT", "b.txt", "c.jpg", "__MACOSX", "__MACOSX.txt",
                           "__macosx.txt", "_x.txt", "\xFF\xC3.Txt", "\xC3\x84.txt"}) {
    folder.Write(name, "");
  }
  MakeFolder(folder.File("d.txt"));
  const Names texts = {"a.TXT", "b.txt", "__macosx.txt", "_x.txt", "\xFF\xC3.Txt", "\xC3\x84.txt", "d.txt"};
  Names visible = texts;
  visible.insert("c.jpg");
  const struct {
    const char* pattern;
    Names names;
  } cases[] = {{"*.txt", texts},
               {"*.TxT", texts},
               {"*", visible},
               {"?.txt", {"a.TXT", "b.txt", "d.txt"}},
               {"A.txt", {"a.TXT"}},
               {"\xC3\x84.TXT", {"\xC3\x84.txt"}},
               {"\xC3\xA4.txt", {}},
               {".hidden*", {}},
               {"", {}},
               {"nothing", {}}};
  for (const auto& one : cases) EXPECT_EQ(ListMatches(folder.Path(), one.pattern), one.names) << one.pattern;
}

TEST(FolderIterator, AllFilesAreReallyAll) {
  const TempFolder folder;
  for (const char* name : {".hidden", "a.TXT", "__MACOSX"}) folder.Write(name, "");
  const Names all = {".", "..", ".hidden", "a.TXT", "__MACOSX"};
  EXPECT_EQ(ListAll(folder.Path()), all);
  EXPECT_EQ(List<LFile::FolderIteratorAllFiles>(folder.Path(), std::string("*.txt")), all);
}

TEST(FolderIterator, NamesAreMatchedOneByOne) {
  LFile::FolderIterator files;
  std::strcpy(files.pattern, "*.TXT");
  const struct {
    std::string name;
    bool matches;
  } cases[] = {{"a.txt", true},
               {"A.Txt", true},
               {".txt", false},
               {"a.txt.", false},
               {"__MACOSX.txt", false},
               {"__MACOS.txt", true},
               {std::string(255, 'x') + ".txt", true},
               {std::string(256, 'x') + ".txt", false}};
  for (const auto& one : cases) EXPECT_EQ(files._Matches(one.name.c_str()), one.matches) << one.name;
  EXPECT_TRUE(LFile::FolderIteratorAllFiles()._Matches("."));
  EXPECT_TRUE(LFile::FolderIteratorAllFiles()._Matches(""));
}

TEST(FolderIterator, ThePathOfAFileListsItself) {
  const TempFolder folder;
  const std::string path = folder.Write("one.txt", "");
  for (const char* name : {"ONE.txt", "other.txt", ".hidden"}) folder.Write(name, "");
  EXPECT_EQ(List<LFile::FolderIterator>(path), (Names{"one.txt", "ONE.txt"}));
  EXPECT_EQ(ListAll(path), (Names{".", "..", "one.txt", "ONE.txt", "other.txt", ".hidden"})) << "the whole folder";
  LFile::FolderIterator files;
  EXPECT_EQ(files.Open(path.c_str()), 1);
  EXPECT_EQ(files.folder, folder.Path());
  EXPECT_STREQ(files.pattern, "one.txt");
}

TEST(FolderIterator, ThePathOfAFileWhoseNameEndsWithASeparatorListsAllFilesOfItsFolder) {
  const TempFolder folder;
  support::MakeFolder(folder.File("a"));
  folder.Write("a/one.txt", "");
  const std::string path = folder.Write("a\\", "");
  EXPECT_EQ(List<LFile::FolderIterator>(path), Names{"one.txt"});
}

TEST(FolderIterator, EveryOtherPathIsAFolder) {
  const TempFolder folder;
  folder.Write("a.txt", "");
  LFile::FolderIterator files;
  EXPECT_EQ(files.Open(folder.Path().c_str()), 1);
  EXPECT_EQ(files.folder, folder.Path());
  EXPECT_STREQ(files.pattern, "*");
  EXPECT_EQ(files.Open(folder.File("*.txt").c_str()), 0) << "a path is not taken apart";
  EXPECT_EQ(files.Open(folder.File("missing").c_str()), 0);
  EXPECT_EQ(files.Open(""), 0);
  ASSERT_EQ(mkfifo(folder.File("pipe").c_str(), 0600), 0);
  EXPECT_EQ(files.Open(folder.File("pipe").c_str()), 0);
  ASSERT_EQ(symlink(".", folder.File("link").c_str()), 0);
  EXPECT_EQ(List<LFile::FolderIterator>(folder.File("link")), (Names{"a.txt", "pipe", "link"}));
  EXPECT_EQ(List<LFile::FolderIterator>(folder.Path() + '/'), (Names{"a.txt", "pipe", "link"}));
}

TEST(FolderIterator, WhatIsNoFolderEndsTheListingBefore) {
  const TempFolder folder;
  const std::string file = folder.Write("a.txt", "");
  LFile::FolderIterator files;
  for (const std::string& path : {file, folder.File("missing"), std::string()}) {
    EXPECT_EQ(files.Open(folder.Path().c_str(), "*.txt"), 1);
    EXPECT_EQ(files.Open(path.c_str(), "*"), 0) << path;
    EXPECT_EQ(files.dir, nullptr);
    EXPECT_STREQ(files.entry.d_name, "");
    EXPECT_EQ(files.folder, folder.Path()) << "as it was";
    EXPECT_STREQ(files.pattern, "*.txt");
    EXPECT_EQ(files.Next(), 0);
  }
}

TEST(FolderIterator, AListingCanBeginAgain) {
  const TempFolder folder;
  for (int i = 0; i < 5; ++i) folder.Write(std::to_string(i), "");
  LFile::FolderIterator files;
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(files.Open(folder.Path().c_str(), "*"), 1);
    EXPECT_EQ(files.Next(), 1);
  }
  EXPECT_EQ(Rest(files, files.Open(folder.Path().c_str(), "3")), Names{"3"});
}

TEST(FolderIterator, EachStepIsAnEntryOfAnyName) {
  const TempFolder folder;
  folder.Write("b", "");
  LFile::FolderIterator files;
  EXPECT_EQ(files.Open(folder.Path().c_str(), "nothing"), 0);
  files.dir = opendir(folder.Path().c_str());
  Names names;
  while (files._GetNextFile() != 0) names.insert(files.entry.d_name);
  EXPECT_EQ(names, (Names{".", "..", "b"}));
  EXPECT_EQ(files.dir, nullptr);
}

TEST(FolderIterator, TheLongestNamesAreWhole) {
  const TempFolder folder;
  const std::string name = std::string(251, 'n') + ".Txt";
  folder.Write(name, "");
  EXPECT_EQ(ListMatches(folder.Path(), "n*n.txt"), Names{name});
}

TEST(FolderIterator, LongPathsAndPatternsAreKeptShort) {
  const TempFolder folder;
  std::string path = folder.Path();
  while (path.size() < 300) path += "/" + std::string(50, 'x');
  MakeFolder(path);
  MakeFile(path + "/file", "");
  LFile::FolderIterator files;
  const std::string pattern = std::string(300, '*') + "nothing";
  EXPECT_EQ(files.Open(path.c_str(), pattern.c_str()), 1) << "the end of the pattern is not there";
  EXPECT_STREQ(files.entry.d_name, "file");
  EXPECT_EQ(files.folder, path.substr(0, 259));
  EXPECT_EQ(files.pattern, std::string(259, '*'));
}

TEST(FolderIterator, AFolderThatDoesNotOpenIsEmpty) {
  const TempFolder folder;
  const support::Unprivileged unprivileged(folder.Path());
  MakeFolder(folder.File("closed"));
  folder.Write("closed/file", "");
  chmod(folder.File("closed").c_str(), 0);
  LFile::FolderIterator files;
  EXPECT_EQ(files.Open(folder.File("closed").c_str(), "x"), 0);
  EXPECT_EQ(files.folder, folder.File("closed"));
  EXPECT_STREQ(files.pattern, "x");
}

}  // namespace
