#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/temp_folder.h>
#include <tillvane/text/LTextFile.h>

namespace {

using support::TempFolder;
using Loader = int (*)(const char*, LStringLong&);

struct NamedLoader {
  const char* name;
  Loader load;
};

constexpr NamedLoader kLoaders[] = {{"LLoadText", LLoadText},
                                    {"LLoadTextUnicode", LLoadTextUnicode},
                                    {"LLoadTextAsUTF16", LLoadTextAsUTF16},
                                    {"LLoadTextAutoChar", LLoadTextAutoChar}};

template <std::size_t kSize>
std::string Bytes(const char (&literal)[kSize]) {
  return {literal, kSize - 1};
}

/// What a loader makes of a file: the bytes within the text's length; with a length of 0 what the buffer holds.
std::string Load(Loader load, const std::string& bytes) {
  const TempFolder folder;
  LStringLong text;
  text = "what was there before";
  EXPECT_EQ(load(folder.Write("file", bytes).c_str(), text), 1);
  EXPECT_EQ(text.c_str()[text.size() != 0 ? text.size() : std::string(text.c_str()).size()], '\0');
  return text.size() != 0 ? std::string(text.c_str(), text.size()) : text.c_str();
}

std::string Hex(const std::string& bytes) {
  std::string hex;
  for (const char c : bytes) {
    char byte[4];
    std::snprintf(byte, sizeof byte, "%02X ", static_cast<unsigned int>(static_cast<unsigned char>(c)));
    hex += byte;
  }
  return hex;
}

struct Case {
  std::string file;
  std::string unicode, utf16, automatic;
};

const std::vector<Case> kFiles = {
    {"", "", "", ""},
    // With a mark.
    {Bytes("\xFF\xFE\x41\0\x42\0"), "AB",
     "\xEF\xBB\xBF"
     "AB",
     "AB"},
    {Bytes("\xFE\xFF\0\x41\0\x42"), "AB", "\xEF\xBF\xBE\xE4\x84\x80\xE4\x88\x80", "AB"},
    {"\xEF\xBB\xBF"
     "a",
     "\xEB\xAF\xAF\xE6\x86\xBF", "\xEB\xAF\xAF\xE6\x86\xBF", "a"},
    // A mark and no more, or less.
    {"\xFF\xFE", "", "\xEF\xBB\xBF", ""},
    {"\xFE\xFF", "", "\xEF\xBF\xBE", ""},
    {"\xEF\xBB\xBF", "\xEB\xAF\xAF", "\xEB\xAF\xAF", ""},
    {"\xFF", "", "", "\xFF"},
    {"\xFE", "", "", "\xFE"},
    {"\xEF\xBB", "\xEB\xAF\xAF", "\xEB\xAF\xAF", "\xEF\xBB"},
    {"\xEF\xBB"
     "a",
     "\xEB\xAF\xAF", "\xEB\xAF\xAF",
     "\xEF\xBB"
     "a"},
    // Without one.
    {Bytes("A\0B\0"), "AB", "AB", Bytes("A\0B\0")},
    {"a\r\nb", "\xE0\xB5\xA1\xE6\x88\x8A", "\xE0\xB5\xA1\xE6\x88\x8A", "a\r\nb"},
    {"\xC3\xA9\x80", "\xEA\xA7\x83", "\xEA\xA7\x83", "\xC3\xA9\x80"},
    // Half a unit at the end.
    {"A", "", "", "A"},
    {"\xFF\xFE\x41", "", "\xEF\xBB\xBF", "A"},
    {"\xFE\xFF\x41", "", "\xEF\xBF\xBE", "\xE4\x84\x80"},
    {Bytes("\xFF\xFE\x41\0\x42"), "A",
     "\xEF\xBB\xBF"
     "A",
     "AB"},
    {Bytes("\xFE\xFF\0\x41\x42"), "A", "\xEF\xBF\xBE\xE4\x84\x80", "A\xE4\x88\x80"},
    // Bytes and units of 0.
    {Bytes("\xFF\xFE\x41\0\0\0\x42\0"), "A",
     "\xEF\xBB\xBF"
     "A",
     "A"},
    {Bytes("\xEF\xBB\xBF"
           "a\0b"),
     "\xEB\xAF\xAF\xE6\x86\xBF\xE6\x88\x80", "\xEB\xAF\xAF\xE6\x86\xBF\xE6\x88\x80", "a"},
    {Bytes("\0\0\0"), "", "", Bytes("\0\0\0")},
    // Halves of a surrogate pair, each for itself; a second mark is a character.
    {Bytes("\xFF\xFE\x3D\xD8\x00\xDE"
           "x"),
     "\xED\xA0\xBD\xED\xB8\x80", "\xEF\xBB\xBF\xED\xA0\xBD\xED\xB8\x80", "\xED\xA0\xBD\xED\xB8\x80x"},
    {"\xFE\xFF\xD8\x3D\xDE\x01", "\xED\xA0\xBD\xED\xB8\x81", "\xEF\xBF\xBE\xE3\xB7\x98\xC7\x9E",
     "\xED\xA0\xBD\xED\xB8\x81"},
    {"\xFF\xFE\xFF\xFE", "\xEF\xBB\xBF", "\xEF\xBB\xBF\xEF\xBB\xBF", "\xEF\xBB\xBF"},
    {"\xEF\xBB\xBF\xEF\xBB\xBF", "\xEB\xAF\xAF\xEE\xBE\xBF\xEB\xBE\xBB", "\xEB\xAF\xAF\xEE\xBE\xBF\xEB\xBE\xBB",
     "\xEF\xBB\xBF"},
};

TEST(TextFileLoad, BytesBecomeText) {
  for (const Case& one : kFiles) {
    SCOPED_TRACE(Hex(one.file));
    EXPECT_EQ(Hex(Load(LLoadText, one.file)), Hex(one.file));
    EXPECT_EQ(Hex(Load(LLoadTextUnicode, one.file)), Hex(one.unicode));
    EXPECT_EQ(Hex(Load(LLoadTextAsUTF16, one.file)), Hex(one.utf16));
    EXPECT_EQ(Hex(Load(LLoadTextAutoChar, one.file)), Hex(one.automatic));
  }
}

TEST(TextFileLoad, TheLengthOfWhatWasUTF16IsZero) {
  const TempFolder folder;
  const std::string low = folder.Write("low", Bytes("\xFF\xFE\x41\0")),
                    high = folder.Write("high", Bytes("\xFE\xFF\0\x41"));
  for (const std::string& path : {low, high}) {
    for (const NamedLoader& one : kLoaders) {
      if (one.load == LLoadText) continue;
      SCOPED_TRACE(path + ' ' + one.name);
      LStringLong text;
      text = "abc";
      EXPECT_EQ(one.load(path.c_str(), text), 1);
      EXPECT_EQ(text.size(), 0u);
      EXPECT_STRNE(text.c_str(), "");
    }
  }
}

TEST(TextFileLoad, TheLengthOfOtherTextIsItsOwn) {
  const TempFolder folder;
  const std::string plain = folder.Write("plain", "abc"), marked = folder.Write("marked",
                                                                                "\xEF\xBB\xBF"
                                                                                "ab");
  LStringLong text;
  EXPECT_EQ(LLoadText(marked.c_str(), text), 1);
  EXPECT_EQ(text.size(), 5u);
  EXPECT_EQ(LLoadTextAutoChar(plain.c_str(), text), 1);
  EXPECT_EQ(text.size(), 3u);
  EXPECT_EQ(LLoadTextAutoChar(marked.c_str(), text), 1);
  EXPECT_EQ(text.size(), 2u);
}

TEST(TextFileLoad, AFileThatDoesNotOpenLeavesTheTextAsItWas) {
  const TempFolder folder;
  const std::string missing = folder.File("missing");
  for (const NamedLoader& one : kLoaders) {
    for (const char* path : {missing.c_str(), "", static_cast<const char*>(nullptr)}) {
      SCOPED_TRACE(one.name);
      LStringLong text;
      text = "abc";
      const char* const buffer = text.data();
      errno = 0;
      EXPECT_EQ(one.load(path, text), 0);
      EXPECT_EQ(errno, ENOENT);
      EXPECT_EQ(text.data(), buffer);
      EXPECT_STREQ(text.c_str(), "abc");
      EXPECT_EQ(text.size(), 3u);
    }
  }
}

TEST(TextFileLoad, ATextGrowsToTheFileAndATerminator) {
  const TempFolder folder;
  const std::string path = folder.Write("file", "abcdef");
  LStringLong text;
  EXPECT_EQ(LLoadText(path.c_str(), text), 1);
  EXPECT_EQ(text.capacity(), 7u);
  text = "";
  EXPECT_EQ(LLoadText(path.c_str(), text), 1);
  EXPECT_EQ(text.capacity(), 7u);
  EXPECT_STREQ(text.c_str(), "abcdef");
}

TEST(TextFileLoad, RoomThatIsThereIsUsed) {
  const TempFolder folder;
  const std::string path = folder.Write("file", "abcdef");
  LStringLong text;
  for (const unsigned int capacity : {7u, 100u}) {
    text.GrowToSize(capacity);
    const char* const buffer = text.data();
    EXPECT_EQ(LLoadText(path.c_str(), text), 1);
    EXPECT_EQ(text.data(), buffer);
    EXPECT_EQ(text.capacity(), capacity);
    EXPECT_STREQ(text.c_str(), "abcdef");
  }
}

TEST(TextFileLoad, RoomWithoutATerminatorIsNotEnough) {
  const TempFolder folder;
  const std::string path = folder.Write("file", "abcdef");
  LStringLong text;
  text.GrowToSize(6);
  EXPECT_EQ(LLoadText(path.c_str(), text), 1);
  EXPECT_STREQ(text.c_str(), "abcdef");
  EXPECT_EQ(text.size(), 6u);
  EXPECT_EQ(text.capacity(), 7u);
}

TEST(TextFileLoad, LoadingAutomaticallyTakesTheBufferOver) {
  const TempFolder folder;
  const std::string path = folder.Write("file", "abcdef");
  LStringLong text;
  text.GrowToSize(100);
  EXPECT_EQ(LLoadTextAutoChar(path.c_str(), text), 1);
  EXPECT_EQ(text.capacity(), 7u);
  EXPECT_STREQ(text.c_str(), "abcdef");
}

TEST(TextFileLoad, AFolderIsItsLengthInZeros) {
  const TempFolder folder;
  struct stat status;
  ASSERT_EQ(stat(folder.Path().c_str(), &status), 0);
  LStringLong text;
  EXPECT_EQ(LLoadText(folder.Path().c_str(), text), 1);
  EXPECT_EQ(std::string(text.c_str(), text.size()), std::string(static_cast<std::size_t>(status.st_size), '\0'));
}

TEST(TextFileLoad, LinksAreFollowed) {
  const TempFolder folder;
  folder.Write("file", "abc");
  ASSERT_EQ(symlink("file", folder.File("link").c_str()), 0);
  LStringLong text;
  EXPECT_EQ(LLoadText(folder.File("link").c_str(), text), 1);
  EXPECT_STREQ(text.c_str(), "abc");
}

/// A file that is all hole.
std::string SparseFile(const TempFolder& folder, off_t size) {
  std::string path = folder.Write("sparse", "");
  EXPECT_EQ(truncate(path.c_str(), size), 0);
  return path;
}

TEST(TextFileLoad, AFileOfFourGigabytesIsEmpty) {
  const TempFolder folder;
  const off_t four_gigabytes = off_t{1} << 32;
  for (const off_t size : {four_gigabytes, four_gigabytes + 3}) {
    const std::string path = SparseFile(folder, size);
    for (const NamedLoader& one : kLoaders) {
      SCOPED_TRACE(one.name);
      LStringLong text;
      text = "abc";
      EXPECT_EQ(one.load(path.c_str(), text), 1);
      EXPECT_EQ(text.size(), 0u);
      EXPECT_STREQ(text.c_str(), "");
    }
  }
}

TEST(TextFileLoad, WithoutMemoryTheTextIsWhatItWas) {
  const TempFolder folder;
  const std::string path = SparseFile(folder, (off_t{1} << 32) - 1);
  for (const Loader load : {LLoadText, LLoadTextAutoChar}) {
    LStringLong text;
    text = "abc";
    EXPECT_THROW(load(path.c_str(), text), std::bad_alloc);
    EXPECT_STREQ(text.c_str(), "abc");
    EXPECT_EQ(text.size(), 3u);
  }
}

}  // namespace
