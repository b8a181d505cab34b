#include <fcntl.h>
#include <unistd.h>

#include <cstddef>
#include <limits>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <tests/support/file_model.h>
#include <tests/support/guarded_buffer.h>
#include <tests/support/open_files.h>
#include <tests/support/seeded.h>
#include <tests/support/threads.h>
#include <tillvane/files/LReadFileBuffered.h>

namespace {

using support::FilledPipe;
using support::ModelFile;
using support::ModelLine;
using support::ModelReader;
using support::OpenFile;
using testing::ElementsAre;

std::string Text(std::size_t length) {
  std::string text;
  for (std::size_t i = 0; i < length; ++i) text += static_cast<char>('a' + i * 7 % 26);
  return text;
}

std::string Deliver(LReadFileBuffered& file, unsigned long (LReadFileBuffered::*get)(void*, unsigned long),
                    std::size_t size) {
  support::GuardedBuffer<char> buffer(size);
  const std::size_t delivered = (file.*get)(buffer.get(), size);
  EXPECT_TRUE(buffer.IsWhole());
  EXPECT_LE(delivered, size);
  return {buffer.get(), delivered};
}
std::string Read(LReadFileBuffered& file, std::size_t size) { return Deliver(file, &LReadFileBuffered::Read, size); }
std::string Peek(LReadFileBuffered& file, std::size_t size) { return Deliver(file, &LReadFileBuffered::Peek, size); }

/// A line into a buffer with room for `most` characters.
ModelLine ReadLine(LReadFileBuffered& file, std::size_t most) {
  support::GuardedBuffer<char> buffer(most + 1);
  const int result = file.ReadLine(buffer.get(), most + 1);
  EXPECT_TRUE(buffer.IsWhole());
  std::size_t used = most + 1;
  while (used > 1 && buffer[used - 1] == support::GuardedBuffer<char>::kMark) --used;
  EXPECT_EQ(buffer[used - 1], '\0');
  return {result, std::string(buffer.get(), used - 1)};
}

std::vector<std::string> ReadLines(LReadFileBuffered& file) {
  std::vector<std::string> lines;
  for (;;) {
    const ModelLine line = ReadLine(file, 20000);
    if (line.result == 0) return lines;
    lines.push_back(line.text);
  }
}

// --- Reading ---

TEST(ReadFileBuffered, SmallReadsComeFromTheBuffer) {
  const std::string text = Text(10000);
  const OpenFile file(text);
  LReadFileBuffered reader(file.Descriptor());
  EXPECT_EQ(Read(reader, 256), text.substr(0, 256));
  EXPECT_EQ(file.Offset(), 8192);
  EXPECT_EQ(Read(reader, 5000), text.substr(256, 5000));
  EXPECT_EQ(file.Offset(), 8192);
  EXPECT_EQ(reader.Tell64(), 5256);
}

TEST(ReadFileBuffered, LargeReadsPassAnEmptyBuffer) {
  const std::string text = Text(40000);
  const OpenFile file(text);
  LReadFileBuffered reader(file.Descriptor());
  EXPECT_EQ(Read(reader, 257), text.substr(0, 257));
  EXPECT_EQ(file.Offset(), 257);
  EXPECT_EQ(Read(reader, 1), text.substr(257, 1));
  EXPECT_EQ(file.Offset(), 257 + 8192);
  // What is held, and 257 bytes more.
  EXPECT_EQ(Read(reader, 8191 + 257), text.substr(258, 8191 + 257));
  EXPECT_EQ(file.Offset(), 257 + 8192 + 257);
  // What is held, and no more than 256: through the buffer again.
  EXPECT_EQ(Read(reader, 1).size(), 1u);
  EXPECT_EQ(Read(reader, 8191 + 256).size(), 8191u + 256u);
  EXPECT_EQ(file.Offset(), 257 + 3 * 8192 + 257);
}

TEST(ReadFileBuffered, ALargeReadIsAskedForOnce) {
  const FilledPipe pipe(Text(300));
  LReadFileBuffered reader(pipe.Descriptor());
  EXPECT_EQ(Read(reader, 1000), Text(300));
  EXPECT_EQ(Read(reader, 1000), "");
}

TEST(ReadFileBuffered, TheEndDeliversWhatThereIs) {
  const OpenFile file("0123456789");
  LReadFileBuffered reader(file.Descriptor());
  EXPECT_EQ(Read(reader, 4), "0123");
  EXPECT_EQ(Read(reader, 250), "456789");
  EXPECT_EQ(Read(reader, 10), "");
  EXPECT_EQ(Read(reader, 0), "");
  EXPECT_EQ(reader.Tell64(), 10);
}

TEST(ReadFileBuffered, WithoutADescriptorThereIsNothing) {
  LReadFileBuffered reader;
  EXPECT_EQ(reader.Descriptor(), -1);
  EXPECT_EQ(Read(reader, 10), "");
  EXPECT_EQ(Read(reader, 1000), "");
  EXPECT_EQ(Peek(reader, 10), "");
  EXPECT_EQ(ReadLine(reader, 10), (ModelLine{0, ""}));
  EXPECT_EQ(reader.Seek(0), -1);
  EXPECT_EQ(reader.Seek64(0), -1);
  EXPECT_EQ(reader.SeekOffset64(0), -1);
  EXPECT_EQ(reader.Tell64(), 0);
  EXPECT_EQ(reader.GetFileSizeBytes64(), 0u);
}

TEST(ReadFileBuffered, WhatCannotBeReadIsNothing) {
  const support::TempFolder folder;
  const int directory = open(folder.Path().c_str(), O_RDONLY | O_CLOEXEC);
  const OpenFile write_only("text", O_WRONLY);
  for (const int descriptor : {directory, write_only.Descriptor()}) {
    LReadFileBuffered reader(descriptor);
    EXPECT_EQ(Read(reader, 10), "");
    EXPECT_EQ(Read(reader, 1000), "");
    EXPECT_EQ(Peek(reader, 10), "");
    EXPECT_EQ(ReadLine(reader, 10), (ModelLine{0, ""}));
  }
  close(directory);
}

// --- Peeking ---

TEST(ReadFileBuffered, APeekIsReadAgain) {
  const std::string text = Text(30000);
  for (const std::size_t held : {0u, 1u, 100u}) {
    for (const std::size_t size : {0u, 1u, 256u, 257u, 8191u, 8192u, 8193u, 20000u, 40000u}) {
      const OpenFile file(text);
      LReadFileBuffered reader(file.Descriptor());
      Read(reader, held);
      const std::string expected = text.substr(held, size);
      for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(Peek(reader, size), expected) << held << ' ' << size;
        ASSERT_EQ(reader.Tell64(), static_cast<long long>(held)) << size;
      }
      ASSERT_EQ(Read(reader, size), expected) << held << ' ' << size;
    }
  }
}

TEST(ReadFileBuffered, AFirstPeekFillsTheBuffer) {
  for (const std::size_t size : {1u, 8191u, 8192u, 8193u}) {
    const OpenFile file(Text(10000));
    LReadFileBuffered reader(file.Descriptor());
    Peek(reader, size);
    EXPECT_EQ(file.Offset(), static_cast<long long>(std::min<std::size_t>(size, 8192)));
  }
}

TEST(ReadFileBuffered, APeekBeyondWhatIsHeldLeavesTheBuffer) {
  const OpenFile file(Text(10000));
  LReadFileBuffered reader(file.Descriptor());
  Read(reader, 1);
  EXPECT_EQ(Peek(reader, 9999), Text(10000).substr(1));
  EXPECT_EQ(file.Offset(), 8192);
}

TEST(ReadFileBuffered, OfAPipeOnlyTheBufferIsPeeked) {
  const std::string text = Text(10000);
  const FilledPipe pipe(text);
  LReadFileBuffered reader(pipe.Descriptor());
  EXPECT_EQ(Peek(reader, 9000), text.substr(0, 9000));
  EXPECT_EQ(Peek(reader, 8192), text.substr(0, 8192));
  EXPECT_EQ(Read(reader, 9192), text.substr(0, 8192) + text.substr(9000));
}

// --- Lines ---

TEST(ReadFileBuffered, LfCrIsTwoEnds) {
  const OpenFile file("a\r\nb\n\rc");
  LReadFileBuffered reader(file.Descriptor());
  EXPECT_THAT(ReadLines(reader), ElementsAre("a", "b", "", "c"));
  file.Fill("a\nb\rc\r\n\r\nd\n\ne\r\rf\n\r\r\n");
  reader.Seek(0);
  EXPECT_THAT(ReadLines(reader), ElementsAre("a", "b", "c", "", "d", "", "e", "", "f", "", ""));
}

TEST(ReadFileBuffered, APipeLosesNothing) {
  const FilledPipe pipe("ab\ncd\r\nef\n\ngh");
  LReadFileBuffered reader(pipe.Descriptor());
  EXPECT_THAT(ReadLines(reader), ElementsAre("ab", "cd", "ef", "", "gh"));
}

TEST(ReadFileBuffered, ALongLineIsCutAndConsumed) {
  const std::string line = Text(20000);
  for (const std::size_t most : {0u, 1u, 8191u, 8192u, 19999u, 20000u, 20001u}) {
    const OpenFile file(line + "\nnext");
    LReadFileBuffered reader(file.Descriptor());
    EXPECT_EQ(ReadLine(reader, most), (ModelLine{1, line.substr(0, most)}));
    EXPECT_EQ(ReadLine(reader, 10), (ModelLine{1, "next"}));
    EXPECT_EQ(ReadLine(reader, 10), (ModelLine{0, ""}));
  }
}

TEST(ReadFileBuffered, WithoutRoomALineIsReadAllTheSame) {
  const OpenFile file("first\nsecond");
  LReadFileBuffered reader(file.Descriptor());
  EXPECT_EQ(reader.ReadLine(nullptr, 0), 1);
  EXPECT_EQ(ReadLine(reader, 10).text, "second");
  EXPECT_EQ(reader.ReadLine(nullptr, 0), 0);
}

TEST(ReadFileBuffered, AnEndMayLieAcrossTwoBuffers) {
  struct Case {
    const char* bytes;
    std::vector<std::string> lines;
    long long offset_after_first;  // the descriptor's, as far as the buffers go
  };
  const std::string line(8191, 'x');
  const Case cases[] = {
      {"\r\nb", {line, "b"}, 8194}, {"\rb", {line, "b"}, 8193},       {"\r", {line}, 8192},
      {"\nb", {line, "b"}, 8192},   {"\n\rb", {line, "", "b"}, 8192}, {"\n", {line}, 8192},
  };
  for (const Case& one : cases) {
    const OpenFile file(line + one.bytes);
    LReadFileBuffered reader(file.Descriptor());
    EXPECT_EQ(ReadLine(reader, 9000).text, line);
    EXPECT_EQ(file.Offset(), one.offset_after_first) << testing::PrintToString(one.bytes);
    reader.Seek(0);
    EXPECT_EQ(ReadLines(reader), one.lines) << testing::PrintToString(one.bytes);
  }
}

// --- Positions ---

TEST(ReadFileBuffered, TellIsWhereSeekWent) {
  const OpenFile file(Text(20000));
  LReadFileBuffered reader(file.Descriptor());
  for (const unsigned int position : {0u, 1u, 8192u, 19999u, 20000u, 4000000000u}) {
    Read(reader, 10);
    EXPECT_EQ(reader.Seek(position), static_cast<long long>(position));
    EXPECT_EQ(reader.Tell64(), static_cast<long long>(position));
    EXPECT_EQ(file.Offset(), static_cast<long long>(position));
    reader.Seek(0);
    Read(reader, 10);
    EXPECT_EQ(reader.Seek64(position), static_cast<long long>(position));
    EXPECT_EQ(reader.Tell64(), static_cast<long long>(position));
  }
  EXPECT_EQ(reader.Seek64(1ULL << 33), 1LL << 33);
  EXPECT_EQ(reader.Tell64(), 1LL << 33);
}

TEST(ReadFileBuffered, OffsetsCountFromWhatIsReadNext) {
  const std::string text = Text(20000);
  const OpenFile file(text);
  LReadFileBuffered reader(file.Descriptor());
  Read(reader, 100);
  EXPECT_EQ(reader.SeekOffset64(50), 150);
  EXPECT_EQ(Read(reader, 5), text.substr(150, 5));
  EXPECT_EQ(reader.SeekOffset64(-155), 0);
  EXPECT_EQ(Read(reader, 5), text.substr(0, 5));
  EXPECT_EQ(reader.SeekOffset64(0), 5);
  EXPECT_EQ(file.Offset(), 5);
}

TEST(ReadFileBuffered, AFailedSeekEmptiesTheBuffer) {
  using Limits = std::numeric_limits<long long>;
  const OpenFile file(Text(20000));
  LReadFileBuffered reader(file.Descriptor());
  for (const long long delta : {-11LL, Limits::min(), Limits::min() + 1, Limits::min() + 8000}) {
    reader.Seek(0);
    Read(reader, 10);
    EXPECT_EQ(reader.SeekOffset64(delta), -1) << delta;
    EXPECT_EQ(reader.Tell64(), 8192) << delta;
  }
  reader.Seek(0);
  Read(reader, 10);
  EXPECT_EQ(reader.Seek64(1ULL << 63), -1);
  EXPECT_EQ(reader.Tell64(), 8192);
}

TEST(ReadFileBuffered, APipeHasNoPosition) {
  const FilledPipe pipe("0123456789");
  LReadFileBuffered reader(pipe.Descriptor());
  EXPECT_EQ(reader.Tell64(), 0);
  Read(reader, 4);
  EXPECT_EQ(reader.Tell64(), -6);
  EXPECT_EQ(reader.Seek(0), -1);
  EXPECT_EQ(Read(reader, 10), "");
}

TEST(ReadFileBuffered, TellsTheSizeOfTheFile) {
  const OpenFile file(Text(100));
  LReadFileBuffered reader(file.Descriptor());
  Read(reader, 10);
  EXPECT_EQ(reader.GetFileSizeBytes64(), 100u);
  ASSERT_EQ(ftruncate(file.Descriptor(), (off_t{1} << 32) + 7), 0);
  EXPECT_EQ(reader.GetFileSizeBytes64(), (1ULL << 32) + 7);
  const FilledPipe pipe("0123456789");
  EXPECT_EQ(LReadFileBuffered(pipe.Descriptor()).GetFileSizeBytes64(), 0u);
}

// --- Against the model ---

std::string SomeText(support::Seeded& seeded, unsigned int most) {
  std::string bytes;
  const unsigned int ends_in = 1 + seeded.Below(200);
  for (unsigned int length = seeded.Below(most); length > 0; --length) {
    bytes += seeded.Below(ends_in) == 0 ? "\n\r"[seeded.Below(2)] : static_cast<char>(seeded.Below(256));
  }
  return bytes;
}

std::size_t SomeSize(support::Seeded& seeded) {
  constexpr unsigned int limits[] = {4, 260, 600, 8200, 30000};
  return seeded.Below(limits[seeded.Below(5)]);
}

/// Does the same to both, and compares what they answer.
void DoOne(support::Seeded& seeded, LReadFileBuffered& reader, ModelReader& model) {
  const std::size_t size = SomeSize(seeded);
  const auto offset = static_cast<long long>(size) - (seeded.Below(2) != 0 ? 300 : 15000);
  switch (seeded.Below(8)) {
    case 0:
    case 1:
      ASSERT_EQ(Read(reader, size), model.Read(size));
      break;
    case 2:
    case 3:
      ASSERT_EQ(Peek(reader, size), model.Peek(size));
      break;
    case 4:
    case 5:
      ASSERT_EQ(ReadLine(reader, size), model.ReadLine(size));
      break;
    case 6:
      ASSERT_EQ(reader.SeekOffset64(offset), model.SeekOffset(offset));
      break;
    default:
      ASSERT_EQ(reader.Seek64(size), model.Seek(static_cast<long long>(size)));
  }
  ASSERT_EQ(reader.Tell64(), model.Tell());
}

TEST(ReadFileBuffered, InAnyOrderDoesWhatTheModelDoes) {
  support::Seeded seeded(11);
  const OpenFile file;
  for (int round = support::Rounds(60); round > 0; --round) {
    const std::string bytes = SomeText(seeded, seeded.Below(2) != 0 ? 40000 : 1000);
    file.Fill(bytes);
    LReadFileBuffered reader(file.Descriptor());
    ModelReader model{ModelFile(bytes)};
    for (int i = 0; i < 60; ++i) {
      ASSERT_NO_FATAL_FAILURE(DoOne(seeded, reader, model));
      ASSERT_EQ(file.Offset(), static_cast<long long>(model.Offset()));
    }
  }
}

TEST(ReadFileBuffered, OfAPipeDoesWhatTheModelDoes) {
  support::Seeded seeded(12);
  for (int round = support::Rounds(60); round > 0; --round) {
    const std::string bytes = SomeText(seeded, 60000);
    const FilledPipe pipe(bytes);
    LReadFileBuffered reader(pipe.Descriptor());
    ModelReader model{ModelFile(bytes, false)};
    for (int i = 0; i < 40; ++i) ASSERT_NO_FATAL_FAILURE(DoOne(seeded, reader, model));
  }
}

}  // namespace
