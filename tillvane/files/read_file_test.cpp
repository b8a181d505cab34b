#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <tests/support/file_model.h>
#include <tests/support/guarded_buffer.h>
#include <tests/support/open_files.h>
#include <tests/support/seeded.h>
#include <tests/support/threads.h>
#include <tillvane/files/LReadFile.h>

namespace {

using support::FilledPipe;
using support::ModelFile;
using support::ModelLine;
using support::OpenFile;
using testing::ElementsAre;

constexpr std::size_t kAll = std::string::npos;

std::string BytesOf(const LStringLong& text) { return {text.c_str(), text.size()}; }

/// A line into a buffer of this size, or into a text; what is around the buffer stays as it was.
ModelLine ReadLine(LReadFileRef file, std::size_t size) {
  if (size == kAll) {
    LStringLong text;
    const int result = file.ReadLine(text);
    return {result, BytesOf(text)};
  }
  support::GuardedBuffer<char> buffer(size);
  const int result = file.ReadLine(buffer.get(), size);
  EXPECT_TRUE(buffer.IsWhole());
  // Behind the terminator the marks are still there: a line may hold NULs.
  std::size_t used = size;
  while (used > 0 && buffer[used - 1] == support::GuardedBuffer<char>::kMark) --used;
  if (used == 0) {
    EXPECT_EQ(size, 0u);
    return {result, ""};
  }
  EXPECT_EQ(buffer[used - 1], '\0');
  return {result, std::string(buffer.get(), used - 1)};
}

std::vector<std::string> ReadLines(LReadFileRef file, std::size_t size = kAll) {
  std::vector<std::string> lines;
  for (;;) {
    const ModelLine line = ReadLine(file, size);
    if (line.result == 0) return lines;
    lines.push_back(line.text);
  }
}

/// Reads a file to its end, and on, as the model does.
void ExpectLinesOfModel(const OpenFile& file, const std::string& bytes, std::size_t size) {
  file.Fill(bytes);
  ModelFile model(bytes);
  for (bool has_more = true; has_more;) {
    const ModelLine expected = support::ReadModelLine(model, size == kAll || size == 0 ? size : size - 1);
    ASSERT_EQ(ReadLine(LReadFileRef(file.Descriptor()), size), expected) << testing::PrintToString(bytes);
    ASSERT_EQ(file.Offset(), static_cast<long long>(model.Offset())) << testing::PrintToString(bytes);
    has_more = expected.result != 0;
  }
}

// --- One read ---

TEST(ReadFileRef, AReadIsTerminatedBehindWhatItGot) {
  const OpenFile file("0123456789");
  LReadFileRef reader(file.Descriptor());
  struct Case {
    unsigned long length;
    long result;
    const char* text;
  };
  for (const Case& one : {Case{4, 4, "0123"}, Case{0, 0, ""}, Case{20, 6, "456789"}, Case{20, 0, ""}}) {
    support::GuardedBuffer<char> buffer(one.length + 1);
    EXPECT_EQ(reader.ReadStringUTF8(buffer.get(), one.length), one.result);
    EXPECT_STREQ(buffer.get(), one.text);
    EXPECT_TRUE(buffer.IsUntouchedFrom(static_cast<std::size_t>(one.result) + 1));
  }
}

TEST(ReadFileRef, AFailedReadIsAnEmptyText) {
  const support::TempFolder folder;
  const int directory = open(folder.Path().c_str(), O_RDONLY | O_CLOEXEC);
  const OpenFile write_only("text", O_WRONLY);
  for (const int descriptor : {-1, directory, write_only.Descriptor()}) {
    LReadFileRef reader(descriptor);
    char buffer[260] = "before";
    EXPECT_EQ(reader.ReadStringUTF8(buffer, 5), -1);
    EXPECT_STREQ(buffer, "");
    buffer[0] = 'b';
    reader.ReadStringLenUTF8(buffer);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(ReadLine(reader, 10), (ModelLine{0, ""}));
    EXPECT_EQ(ReadLine(reader, 0), (ModelLine{0, ""}));
    LStringLong line;
    line = "before";
    EXPECT_EQ(reader.ReadLine(line), 0);
    EXPECT_EQ(BytesOf(line), "");
  }
  close(directory);
}

TEST(ReadFileRef, WithoutADescriptorByDefault) { EXPECT_EQ(LReadFileRef().Descriptor(), -1); }

TEST(ReadFileRef, ItIsAReference) {
  const OpenFile file("ab\ncd");
  {
    LReadFileRef first(file.Descriptor());
    EXPECT_EQ(ReadLine(first, kAll).text, "ab");
  }
  LReadFileRef second(file.Descriptor());
  EXPECT_EQ(ReadLine(second, kAll).text, "cd");
}

// --- Texts behind their length ---

std::string Text(std::size_t length) {
  std::string text;
  for (std::size_t i = 0; i < length; ++i) text += static_cast<char>('a' + i % 26);
  return text;
}

std::string Length(std::uint32_t length) {
  std::string bytes = "\xFF";
  for (int i = 0; i < 4; ++i, length >>= 8) bytes += static_cast<char>(length & 0xFF);
  return bytes;
}

std::string ReadText(LReadFileRef reader) {
  support::GuardedBuffer<char> buffer(260);
  reader.ReadStringLenUTF8(buffer.get());
  EXPECT_TRUE(buffer.IsWhole());
  return buffer.get();
}

TEST(ReadFileRefText, IsCutTo259BytesAndTheNextOneFollows) {
  struct Case {
    std::string bytes, text;
  };
  const Case cases[] = {
      {std::string(1, '\0'), ""},
      {"\x03" + Text(3), Text(3)},
      {"\xFE" + Text(254), Text(254)},
      {Length(255) + Text(255), Text(255)},
      {Length(258) + Text(258), Text(258)},
      {Length(259) + Text(259), Text(259)},
      {Length(260) + Text(260), Text(259)},
      {Length(300) + Text(300), Text(259)},
      {Length(0x00012345) + Text(0x00012345), Text(259)},
      // A short length in the long form is no less a length.
      {Length(2) + "xy", "xy"},
      {Length(0), ""},
  };
  for (const Case& one : cases) {
    const OpenFile file(one.bytes + "\x04next");
    const LReadFileRef reader(file.Descriptor());
    EXPECT_EQ(ReadText(reader), one.text);
    EXPECT_EQ(file.Offset(), static_cast<long long>(one.bytes.size()));
    EXPECT_EQ(ReadText(reader), "next");
    EXPECT_EQ(ReadText(reader), "");
  }
}

TEST(ReadFileRefText, ThatEndsTooEarlyIsCutAndSkipped) {
  const std::string files[] = {
      "",
      "\x05",
      std::string("\x05") + "abc",
      "\xFE" + Text(100),
      "\xFF",
      "\xFF\x02",
      "\xFF\x02\x01" + std::string("\0", 1),
      Length(300),
      Length(300) + Text(200),
      Length(300) + Text(280),
      Length(0xFFFFFFFF),
      Length(0xFFFFFFFF) + Text(300),
      Length(0x80000000) + Text(3),
      Length(0x7FFFFFFF) + Text(259),
  };
  for (const std::string& bytes : files) {
    const OpenFile file(bytes);
    ModelFile model(bytes);
    for (int i = 0; i < 3; ++i) {
      EXPECT_EQ(ReadText(LReadFileRef(file.Descriptor())), support::ReadModelText(model).c_str());
      EXPECT_EQ(file.Offset(), static_cast<long long>(model.Offset()));
    }
  }
  const OpenFile file(Length(0xFFFFFFFF) + Text(300));
  EXPECT_EQ(ReadText(LReadFileRef(file.Descriptor())), Text(259));
  EXPECT_EQ(file.Offset(), 5 + 0xFFFFFFFFLL);
}

TEST(ReadFileRefText, WhatAPipeCannotSkipIsReadNext) {
  const FilledPipe pipe(Length(262) + Text(259) + "\x02yz");
  EXPECT_EQ(ReadText(LReadFileRef(pipe.Descriptor())), Text(259));
  EXPECT_EQ(ReadText(LReadFileRef(pipe.Descriptor())), "yz");
}

// --- Lines ---

TEST(ReadFileRefLine, EndsWithAnyOfFourEnds) {
  const OpenFile file("a\r\nb\n\rc");
  const LReadFileRef reader(file.Descriptor());
  EXPECT_THAT(ReadLines(reader), ElementsAre("a", "b", "c"));
  file.Fill("a\nb\rc\r\n\r\nd\n\ne\r\rf\n\r\r\n");
  EXPECT_THAT(ReadLines(reader), ElementsAre("a", "b", "c", "", "d", "", "e", "", "f", ""));
}

TEST(ReadFileRefLine, AtTheEndIsEmptyAndNoLine) {
  const OpenFile file("last");
  const LReadFileRef reader(file.Descriptor());
  EXPECT_EQ(ReadLine(reader, 10), (ModelLine{1, "last"}));
  EXPECT_EQ(ReadLine(reader, 10), (ModelLine{0, ""}));
  EXPECT_EQ(ReadLine(reader, kAll), (ModelLine{0, ""}));
}

TEST(ReadFileRefLine, ThatIsTooLongIsCutAndConsumed) {
  const OpenFile file;
  const LReadFileRef reader(file.Descriptor());
  for (const std::size_t length : {5u, 300u, 9000u, 40000u}) {
    const std::string line = Text(length);
    for (const std::size_t size : {1u, 2u, 5u, 6u, 7u, 256u, 8192u}) {
      file.Fill(line + "\r\nnext");
      EXPECT_THAT(ReadLines(reader, size),
                  ElementsAre(line.substr(0, size - 1), std::string("next").substr(0, size - 1)));
    }
  }
}

TEST(ReadFileRefLine, WithoutRoomIsReadAllTheSame) {
  const OpenFile file("first\nsecond\nthird");
  LReadFileRef reader(file.Descriptor());
  EXPECT_EQ(reader.ReadLine(nullptr, 0), 1);
  EXPECT_EQ(ReadLine(reader, 1), (ModelLine{1, ""}));
  EXPECT_EQ(ReadLine(reader, kAll), (ModelLine{1, "third"}));
}

TEST(ReadFileRefLine, MayHoldNulsAndAnyByte) {
  std::string every;
  for (int i = 0; i < 256; ++i) {
    if (i != '\n' && i != '\r') every += static_cast<char>(i);
  }
  const OpenFile file(every + '\n' + every);
  EXPECT_THAT(ReadLines(LReadFileRef(file.Descriptor())), ElementsAre(every, every));
  file.Fill(every + '\n');
  support::GuardedBuffer<char> buffer(300);
  EXPECT_EQ(LReadFileRef(file.Descriptor()).ReadLine(buffer.get(), 300), 1);
  EXPECT_EQ(std::string(buffer.get(), every.size()), every);
}

TEST(ReadFileRefLine, ATextGrowsFourfold) {
  struct Case {
    std::size_t length;
    unsigned int capacity;
  };
  const OpenFile file;
  for (const Case& one : {Case{0, 260}, Case{259, 260}, Case{260, 1040}, Case{1039, 1040}, Case{1040, 4160},
                          Case{4160, 16640}, Case{16640, 66560}}) {
    file.Fill(Text(one.length) + '\n');
    LStringLong line;
    EXPECT_EQ(LReadFileRef(file.Descriptor()).ReadLine(line), 1);
    EXPECT_EQ(line.capacity(), one.capacity) << one.length;
    EXPECT_EQ(BytesOf(line), Text(one.length));
    EXPECT_EQ(line.c_str()[one.length], '\0');
  }
}

TEST(ReadFileRefLine, ATextIsUsedAgain) {
  const OpenFile file(Text(600) + "\nab\n");
  LReadFileRef reader(file.Descriptor());
  LStringLong line;
  line.GrowToSize(500);
  EXPECT_EQ(reader.ReadLine(line), 1);
  EXPECT_EQ(line.capacity(), 2000u);
  EXPECT_EQ(reader.ReadLine(line), 1);
  EXPECT_EQ(BytesOf(line), "ab");
  EXPECT_EQ(line.capacity(), 2000u);
  EXPECT_EQ(reader.ReadLine(line), 0);
  EXPECT_EQ(BytesOf(line), "");
}

/// Calls a function with every text of up to `length` of these characters.
template <class Function>
void ForEachText(const std::string& characters, std::size_t length, std::string text, Function function) {
  function(text);
  if (text.size() == length) return;
  for (const char character : characters) ForEachText(characters, length, text + character, function);
}

TEST(ReadFileRefLine, OfEveryShortFileIsTheModels) {
  const OpenFile file;
  ForEachText("a\n\r", 7, "", [&](const std::string& bytes) {
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{3}, kAll}) {
      ASSERT_NO_FATAL_FAILURE(ExpectLinesOfModel(file, bytes, size));
    }
  });
}

TEST(ReadFileRefLine, AroundWhatIsReadAheadIsTheModels) {
  const OpenFile file;
  for (const std::size_t edge : {256u, 256u + 8192u}) {
    for (std::size_t length = edge - 2; length <= edge; ++length) {
      for (const char* const end : {"\n", "\r", "\r\n", "\n\r", "\n\n", "\r\r", ""}) {
        for (const char* const next : {"", "b", "\n", "\r"}) {
          ASSERT_NO_FATAL_FAILURE(ExpectLinesOfModel(file, Text(length) + end + next, kAll)) << length;
          ASSERT_NO_FATAL_FAILURE(ExpectLinesOfModel(file, Text(length) + end + next, 20)) << length;
        }
      }
    }
  }
}

/// Lines of all lengths with all ends.
std::string SomeText(support::Seeded& seeded) {
  std::string bytes;
  for (unsigned int lines = seeded.Below(8); lines > 0; --lines) {
    const unsigned int most = seeded.Below(8) == 0 ? 12000 : seeded.Below(4) == 0 ? 600 : 20;
    for (unsigned int length = seeded.Below(most); length > 0; --length) bytes += static_cast<char>(seeded.Below(256));
    for (unsigned int ends = seeded.Below(4); ends > 0; --ends) bytes += seeded.Below(2) != 0 ? '\n' : '\r';
  }
  return bytes;
}

TEST(ReadFileRefLine, OfFilesByChanceIsTheModels) {
  const OpenFile file;
  support::Seeded seeded(7);
  for (int round = support::Rounds(200); round > 0; --round) {
    const std::string bytes = SomeText(seeded);
    ASSERT_NO_FATAL_FAILURE(ExpectLinesOfModel(file, bytes, seeded.Below(2) != 0 ? kAll : seeded.Below(400)));
  }
}

TEST(ReadFileRefLine, OfAFileThatIsAppendedToIsTheModels) {
  const OpenFile file("", O_RDWR | O_APPEND);
  ExpectLinesOfModel(file, "a\r\nb\n\nc", kAll);
  ASSERT_EQ(write(file.Descriptor(), "d\ne", 3), 3);
  EXPECT_EQ(lseek(file.Descriptor(), 6, SEEK_SET), 6);
  EXPECT_THAT(ReadLines(LReadFileRef(file.Descriptor())), ElementsAre("cd", "e"));
}

TEST(ReadFileRefLine, OfAPipeLosesWhatItCannotGiveBack) {
  const FilledPipe pipe("ab\ncd\r\nef\n\ngh");
  EXPECT_THAT(ReadLines(LReadFileRef(pipe.Descriptor())), ElementsAre("ab", "d", "ef", "gh"));
  for (const std::size_t size : {std::size_t{0}, std::size_t{2}, kAll}) {
    ForEachText("a\n\r", 5, "", [&](const std::string& bytes) {
      const FilledPipe same(bytes);
      ModelFile model(bytes, false);
      for (bool has_more = true; has_more;) {
        const ModelLine expected = support::ReadModelLine(model, size == kAll || size == 0 ? size : size - 1);
        ASSERT_EQ(ReadLine(LReadFileRef(same.Descriptor()), size), expected) << testing::PrintToString(bytes);
        has_more = expected.result != 0;
      }
    });
  }
}

TEST(ReadFileRefLine, OfAPipeTakesNoMoreThanItsEnd) {
  const FilledPipe pipe("ab\r\ncdef");
  EXPECT_EQ(ReadLine(LReadFileRef(pipe.Descriptor()), kAll).text, "ab");
  char rest[10];
  EXPECT_EQ(read(pipe.Descriptor(), rest, sizeof rest), 4);
}

TEST(ReadFileRefLine, OfASocketTakesNoMoreThanItsEnd) {
  int ends[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
  ASSERT_EQ(write(ends[1], "ab\n\rcdef", 8), 8);
  EXPECT_EQ(ReadLine(LReadFileRef(ends[0]), 10).text, "ab");
  char rest[10];
  EXPECT_EQ(read(ends[0], rest, sizeof rest), 4);
  close(ends[0]);
  close(ends[1]);
}

}  // namespace
