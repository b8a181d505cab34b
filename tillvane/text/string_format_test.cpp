#include <cstdio>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/guarded_buffer.h>
#include <tillvane/text/LStringFormat.h>

namespace {

TEST(FixedWriter, CutsWithoutAWordAndWritesNoTerminator) {
  char buffer[8];
  std::memset(buffer, '#', sizeof buffer);
  LFixedLengthStringWriterTemplate<char> writer{buffer, 0, 5};
  EXPECT_EQ(sprintf(writer, "abc%d", 12345), 5u);
  EXPECT_EQ(std::string(buffer, sizeof buffer), "abc12###");
  EXPECT_EQ(sprintf(writer, "more %s", "and more"), 5u);
  EXPECT_EQ(std::string(buffer, sizeof buffer), "abc12###");
}

TEST(FixedWriter, GoesOnWhereItStands) {
  char buffer[8];
  std::memset(buffer, '#', sizeof buffer);
  LFixedLengthStringWriterTemplate<char> writer{buffer, 0, 8};
  EXPECT_EQ(sprintf(writer, "ab"), 2u);
  EXPECT_EQ(sprintf(writer, "%d", 7), 3u);
  tplstrcpy(writer, "cd");
  EXPECT_EQ(writer.length, 5u);
  tplstrcpy(writer, "");
  EXPECT_EQ(writer.length, 5u);
  EXPECT_EQ(std::string(buffer, sizeof buffer), "ab7cd###");
}

TEST(FixedWriter, ThatIsOverfullOrHasNoRoomWritesNothing) {
  LFixedLengthStringWriterTemplate<char> none{nullptr, 0, 0};
  EXPECT_EQ(sprintf(none, "text %d", 7), 0u);
  char buffer[4] = "abc";
  LFixedLengthStringWriterTemplate<char> overfull{buffer, 3, 2};
  EXPECT_EQ(sprintf(overfull, "text %d", 7), 3u);
  EXPECT_STREQ(buffer, "abc");
}

TEST(FixedBuffer, IsAlwaysTerminated) {
  const struct {
    unsigned long size;
    const char* expected;
  } cases[] = {{1, ""}, {2, "a"}, {4, "abc"}, {5, "abc7"}, {6, "abc7"}, {20, "abc7"}};
  for (const auto& c : cases) {
    char buffer[20];
    std::memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(tplsnprintf(buffer, c.size, "abc%d", 7), std::strlen(c.expected)) << "size " << c.size;
    EXPECT_STREQ(buffer, c.expected) << "size " << c.size;
    for (std::size_t i = std::strlen(c.expected) + 1; i < sizeof buffer; ++i) EXPECT_EQ(buffer[i], '#') << c.size;
  }
}

TEST(FixedBuffer, OfNoSizeIsNotTouched) {
  char untouched = '#';
  EXPECT_EQ(tplsnprintf(&untouched, 0, "abc"), 0u);
  EXPECT_EQ(untouched, '#');
  EXPECT_EQ(tplsnprintf(nullptr, 0, "abc"), 0u);
}

// The writer's room has 32 bits: of a larger size it is the most that they can say.
TEST(FixedBuffer, MayBeLargerThanAWriterCanSay) {
  if (sizeof(unsigned long) == 4) GTEST_SKIP() << "no size is larger here";
  char buffer[16];
  EXPECT_EQ(tplsnprintf(buffer, static_cast<unsigned long>((1ull << 32) + 5), "abcdefghij"), 10u);
  EXPECT_STREQ(buffer, "abcdefghij");
}

template <class T>
void ExpectNeverExceeded(const std::string& format, T value) {
  char expected[100];
  std::snprintf(expected, sizeof expected, format.c_str(), value);
  for (std::size_t size = 1; size <= 60; ++size) {
    support::GuardedBuffer<char> buffer(size);
    const unsigned long length = tplsnprintf(buffer.get(), size, format.c_str(), value);
    ASSERT_EQ(buffer.get(), std::string(expected).substr(0, size - 1)) << format << " in " << size;
    ASSERT_TRUE(buffer.IsUntouchedFrom(length + 1)) << format << " in " << size;
  }
}

// Every way to write at once where it belongs, beside what is cut.
TEST(FixedBuffer, IsNeverExceeded) {
  for (std::size_t literal = 0; literal <= 40; ++literal) {
    const std::string text(literal, 'x');
    for (const char* conversion : {"%d", "%u", "%x", "%9d", "%.12d", "%012d", "%c"}) {
      ExpectNeverExceeded(text + conversion, -1234567);
    }
    ExpectNeverExceeded(text + "%5.2f", -1234.5);
  }
}

TEST(FixedBuffer, WithoutAFormatIsEmpty) {
  char buffer[4] = "abc";
  EXPECT_EQ(tplsnprintf(buffer, sizeof buffer, nullptr), 0u);
  EXPECT_STREQ(buffer, "");
}

TEST(FormattedAppend, KeepsTheTextAndAnswersTheWholeLength) {
  LStringLong text;
  text = "ab";
  EXPECT_EQ(tsprintfappend(text, "%d", 7), 3u);
  EXPECT_STREQ(text.c_str(), "ab7");
  EXPECT_EQ(text.size(), 3u);
  EXPECT_EQ(text.capacity(), 260u);
}

TEST(FormattedAppend, WithoutAFormatAnswersZeroAndKeepsTheText) {
  LStringLong text;
  text = "ab";
  EXPECT_EQ(tsprintfappend(text, nullptr), 0u);
  EXPECT_STREQ(text.c_str(), "ab");
}

TEST(FormattedText, ReplacesWhatWasThere) {
  LStringLong text;
  text = "a longer text";
  EXPECT_EQ(sprintf(text, "%s %d", "b", 7), 3u);
  EXPECT_STREQ(text.c_str(), "b 7");
  EXPECT_EQ(text.size(), 3u);
  EXPECT_EQ(sprintf(text, nullptr), 0u);
  EXPECT_STREQ(text.c_str(), "");
  EXPECT_EQ(text.size(), 0u);
}

// The text always has room for a terminator: it grows as soon as it is full, fourfold.
TEST(FormattedText, GrowsFourfoldWhenItIsFull) {
  const struct {
    std::size_t length;
    unsigned int capacity;
  } cases[] = {{0, 260},     {258, 260},   {259, 260},    {260, 1040},    {1039, 1040},
               {1040, 4160}, {4159, 4160}, {4160, 16640}, {16639, 16640}, {70000, 266240}};
  for (const auto& c : cases) {
    const std::string piece(c.length, 'x');
    LStringLong text;
    EXPECT_EQ(sprintf(text, "%s", piece.c_str()), c.length);
    EXPECT_EQ(text.capacity(), c.capacity) << c.length;
    EXPECT_EQ(text.c_str(), piece);
    LStringLong in_pieces;
    tsprintfappend(in_pieces, "");
    for (std::size_t i = 0; i < c.length; i += 10) {
      tsprintfappend(in_pieces, "%s", piece.substr(i, 10).c_str());
    }
    EXPECT_EQ(in_pieces.c_str(), piece);
    EXPECT_EQ(in_pieces.capacity(), c.capacity) << c.length;
  }
}

TEST(FormattedText, BeginsWithTheUsualCapacity) {
  LStringLong text;
  text = "a";
  sprintf(text, "x");
  EXPECT_EQ(text.capacity(), 260u);
}

TEST(FormattedText, KeepsWhatIsThereWhenItGrowsOnTheWay) {
  const std::string piece(300, 'x');
  LStringLong text;
  sprintf(text, "before %d %s behind %d%s", 1, piece.c_str(), 2, (piece + piece + piece).c_str());
  EXPECT_EQ(text.c_str(), "before 1 " + piece + " behind 2" + piece + piece + piece);
}

TEST(FormattedText, GrowsFourfoldFromItsOwnCapacity) {
  LStringLong text;
  text.GrowToSize(300);
  sprintf(text, "%s", std::string(300, 'x').c_str());
  EXPECT_EQ(text.capacity(), 1200u);
}

TEST(TextAppender, TerminatesTheTextWhenItEnds) {
  LStringLong text;
  text.GrowToSize(10);
  std::memset(text.data(), '#', 10);
  {
    LStringLongTemplateWriter<char> writer(text);
    writer.Write("ab", 2);
  }
  EXPECT_STREQ(text.c_str(), "ab");
}

TEST(TextAppender, GrowsFourfoldFromItsOwnCapacity) {
  LStringLong text;
  text = "ab";
  {
    LStringLongTemplateAppender<char> appender(text);
    tplstrcpy(appender, "cdefgh");
    EXPECT_EQ(appender.Text().size(), 8u);
  }
  EXPECT_STREQ(text.c_str(), "abcdefgh");
  // Three units were there; three times four hold them.
  EXPECT_EQ(text.capacity(), 12u);
}

TEST(TextAppender, TerminatesTheTextAlsoWhenAnExceptionPasses) {
  LStringLong text;
  text.GrowToSize(10);
  std::memset(text.data(), '#', 10);
  try {
    LStringLongTemplateAppender<char> appender(text);
    appender.Write("abc", 3);
    throw 1;
  } catch (int) {
  }
  EXPECT_STREQ(text.c_str(), "abc");
}

TEST(TextAppender, BeginsWithATextThatHasNoBuffer) {
  LStringLong text;
  {
    LStringLongTemplateWriter<char> unused(text);
    tplstrcpy(unused, "");
  }
  EXPECT_EQ(text.capacity(), 0u);
  {
    LStringLongTemplateWriter<char> writer(text);
    tplstrcpy(writer, "abc");
  }
  EXPECT_STREQ(text.c_str(), "abc");
  EXPECT_EQ(text.capacity(), 260u);
}

TEST(Printf, IsTheCLibrarys) {
  testing::internal::CaptureStdout();
  const int written = tprintf("%-5s|%+ld|%.2s\n", "ab", 7L, "abcd");
  std::fflush(stdout);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "ab   |+7|ab\n");
  EXPECT_EQ(written, 12);
}

}  // namespace
