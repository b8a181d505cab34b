#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/open_files.h>
#include <tillvane/files/LReadFile.h>
#include <tillvane/files/LWriteFile.h>

namespace {

using support::OpenFile;

TEST(WriteFileRef, WritesTextsAndLines) {
  const OpenFile file;
  LWriteFileRef writer(file.Descriptor());
  EXPECT_EQ(writer.WriteString("text"), 1);
  EXPECT_EQ(writer.WriteString(""), 1);
  EXPECT_EQ(writer.WriteStringUTF8("\xC3\xA9"), 1);
  EXPECT_EQ(writer.WriteLineLF("line"), 1);
  EXPECT_EQ(writer.WriteLineCRLF("other"), 2);
  EXPECT_EQ(writer.WriteLineLF(""), 1);
  EXPECT_EQ(file.Bytes(), "text\xC3\xA9line\nother\r\n\n");
}

TEST(WriteFileRef, WithoutADescriptorNothingIsWritten) {
  LWriteFileRef writer;
  EXPECT_EQ(writer.Descriptor(), -1);
  EXPECT_EQ(writer.WriteString("text"), 0);
  EXPECT_EQ(writer.WriteString(""), 1);
  EXPECT_EQ(writer.WriteStringUTF8("text"), 0);
  EXPECT_EQ(writer.WriteStringUTF8(""), 1);
  EXPECT_EQ(writer.WriteStringLenUTF8("text"), -1);
  EXPECT_EQ(writer.WriteLineLF("text"), -1);
  EXPECT_EQ(writer.WriteLineCRLF("text"), -1);
  EXPECT_EQ(fprintf(writer, "%d", 12345), 5u);
}

TEST(WriteFileRef, WhatCannotBeWrittenIsTold) {
  const OpenFile file("before", O_RDONLY);
  LWriteFileRef writer(file.Descriptor());
  EXPECT_EQ(writer.WriteString("text"), 0);
  EXPECT_EQ(writer.WriteStringUTF8("text"), 0);
  EXPECT_EQ(writer.WriteStringLenUTF8("text"), -1);
  EXPECT_EQ(writer.WriteLineLF("text"), -1);
  EXPECT_EQ(fprintf(writer, "text"), 4u);
  EXPECT_EQ(file.Bytes(), "before");
}

TEST(WriteFileRef, AFullPipeTakesAPart) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  fcntl(ends[1], F_SETFL, O_NONBLOCK);
  const std::string text(1 << 21, 'x');
  EXPECT_EQ(LWriteFileRef(ends[1]).WriteString(text.c_str()), 0);
  close(ends[0]);
  close(ends[1]);
}

TEST(WriteFileRef, ATextIsWrittenBehindItsLength) {
  struct Case {
    std::size_t length;
    std::string prefix;
  };
  const Case cases[] = {
      {0, std::string(1, '\0')},
      {1, "\x01"},
      {127, "\x7F"},
      {128, "\x80"},
      {254, "\xFE"},
      {255, std::string("\xFF\xFF\0\0\0", 5)},
      {256, std::string("\xFF\0\x01\0\0", 5)},
      {0x12345, std::string("\xFF\x45\x23\x01\0", 5)},
      {0x1000000, std::string("\xFF\0\0\0\x01", 5)},
  };
  for (const Case& one : cases) {
    const OpenFile file;
    const std::string text(one.length, 'x');
    EXPECT_EQ(LWriteFileRef(file.Descriptor()).WriteStringLenUTF8(text.c_str()), static_cast<long>(one.length));
    EXPECT_TRUE(file.Bytes() == one.prefix + text) << one.length;
  }
}

TEST(WriteFileRef, WhatIsWrittenBehindItsLengthIsReadBack) {
  const OpenFile file;
  for (int length = 0; length < 600; ++length) {
    LWriteFileRef(file.Descriptor()).WriteStringLenUTF8(std::string(static_cast<std::size_t>(length), 'x').c_str());
  }
  lseek(file.Descriptor(), 0, SEEK_SET);
  for (int length = 0; length < 600; ++length) {
    char buffer[260];
    LReadFileRef(file.Descriptor()).ReadStringLenUTF8(buffer);
    EXPECT_EQ(buffer, std::string(static_cast<std::size_t>(std::min(length, 259)), 'x'));
  }
  char end;
  EXPECT_EQ(read(file.Descriptor(), &end, 1), 0);
}

TEST(WriteFileRef, FormatsByTheEnginesGrammar) {
  const OpenFile file;
  const LWriteFileRef writer(file.Descriptor());
  EXPECT_EQ(fprintf(writer, "%d %s%%\n", -7, "text"), 9u);
  EXPECT_EQ(fprintf(writer, "%-5d|", 7, 8), 3u);  // '-' is no flag of the engine's
  EXPECT_EQ(fprintf(writer, ""), 0u);
  EXPECT_EQ(fprintf(writer, nullptr), 0u);
  EXPECT_EQ(file.Bytes(), "-7 text%\n5d|");
}

TEST(WriteFileRef, FormattedTextMayBeLong) {
  for (const std::size_t length : {258u, 259u, 260u, 261u, 5000u, 100000u}) {
    const OpenFile file;
    const std::string text(length, 'y');
    EXPECT_EQ(fprintf(LWriteFileRef(file.Descriptor()), "<%s>", text.c_str()), length + 2);
    EXPECT_EQ(file.Bytes(), '<' + text + '>');
  }
}

}  // namespace
