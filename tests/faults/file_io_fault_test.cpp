// System calls that fail, or do only a part, under the readers and writers of open files, and the order in which they
// come. The definitions here take the place of the C library's for everything that is linked into this program; what
// they do differently concerns one descriptor only.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <functional>
#include <limits>
#include <new>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <tests/support/faults.h>
#include <tests/support/file_model.h>
#include <tests/support/next_definition.h>
#include <tests/support/open_files.h>
#include <tests/support/seeded.h>
#include <tillvane/files/LProcessFile.h>
#include <tillvane/files/LReadFile.h>
#include <tillvane/files/LReadFileBuffered.h>
#include <tillvane/files/LWriteFile.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// The descriptor whose calls are noted, and what they do instead while that is set.
int watched = -2;
std::vector<std::string> calls;
support::Replacement<ssize_t(void* bytes, size_t size)> on_read{"read"};
support::Replacement<ssize_t(const void* bytes, size_t size)> on_write{"write"};
support::Replacement<off_t(off_t offset, int from)> on_lseek{"lseek"};
support::Replacement<int(struct stat* status)> on_fstat{"fstat"};

// No array is allocated while this is set.
bool is_memory_full = false;

using support::Next;

/// \return is it the descriptor that is watched?
bool Note(int descriptor, const std::string& call) {
  if (descriptor != watched) return false;
  calls.push_back(call);
  return true;
}

}  // namespace

void* operator new[](std::size_t size) {
  if (is_memory_full) support::NoteFault("new", ENOMEM);
  void* const memory = is_memory_full ? nullptr : std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }

extern "C" {

ssize_t read(int descriptor, void* bytes, size_t size) {
  const bool is_watched = Note(descriptor, "read " + std::to_string(size));
  return is_watched && on_read ? on_read(bytes, size) : Next(&read, "read")(descriptor, bytes, size);
}

ssize_t write(int descriptor, const void* bytes, size_t size) {
  const bool is_watched = Note(descriptor, "write " + std::to_string(size));
  return is_watched && on_write ? on_write(bytes, size) : Next(&write, "write")(descriptor, bytes, size);
}

off_t lseek(int descriptor, off_t offset, int from) noexcept {
  const bool is_watched = Note(descriptor, "lseek " + std::to_string(offset) + ' ' + std::to_string(from));
  return is_watched && on_lseek ? on_lseek(offset, from) : Next(&lseek, "lseek")(descriptor, offset, from);
}

int fstat(int descriptor, struct stat* status) noexcept {
  const bool is_watched = Note(descriptor, "fstat");
  const int result = Next(&fstat, "fstat")(descriptor, status);
  return is_watched && on_fstat && result == 0 ? on_fstat(status) : result;
}

}  // extern "C"

namespace {

int FailWith(int error) {
  errno = error;
  return -1;
}

class FileIoFault : public testing::Test {
 protected:
  FileIoFault() { watched = file_.Descriptor(); }
  ~FileIoFault() override {
    watched = -2;
    on_read = {};
    on_write = {};
    on_lseek = {};
    on_fstat = {};
    calls.clear();
  }

  /// What the system's own call does with the file.
  ssize_t ReadReally(void* bytes, size_t size) { return Next(&read, "read")(file_.Descriptor(), bytes, size); }
  ssize_t WriteReally(const void* bytes, size_t size) { return Next(&write, "write")(file_.Descriptor(), bytes, size); }
  long long Offset() { return Next(&lseek, "lseek")(file_.Descriptor(), 0, SEEK_CUR); }

  /// The calls that a function makes.
  std::vector<std::string> CallsOf(const std::function<void()>& function) {
    calls.clear();
    function();
    return calls;
  }

  const support::OpenFile file_;
  LReadFileRef reader_{file_.Descriptor()};
  LWriteFileRef writer_{file_.Descriptor()};
  LReadFileBuffered buffered_{file_.Descriptor()};
  LProcessInterfaceVoid process_;
  char buffer_[20000] = {};
};

// --- The calls ---

TEST_F(FileIoFault, WithoutADescriptorTheSystemIsNotAsked) {
  watched = -1;
  LReadFileRef reader;
  LWriteFileRef writer;
  LReadFileBuffered buffered;
  LStringLong line;
  EXPECT_THAT(CallsOf([&] {
                reader.ReadStringUTF8(buffer_, 10);
                reader.ReadStringLenUTF8(buffer_);
                reader.ReadLine(buffer_, 10);
                reader.ReadLine(line);
                for (const char* const text : {"", "text"}) {
                  writer.WriteString(text);
                  writer.WriteStringUTF8(text);
                  writer.WriteStringLenUTF8(text);
                  writer.WriteLineLF(text);
                  writer.WriteLineCRLF(text);
                  fprintf(writer, "%s", text);
                }
                writer.WriteStringLenUTF8(std::string(300, 'x').c_str());
                buffered.Read(buffer_, 10);
                buffered.Read(buffer_, 1000);
                buffered.Peek(buffer_, 10);
                buffered.ReadLine(buffer_, 10);
                buffered.Seek(0);
                buffered.Seek64(0);
                buffered.SeekOffset64(0);
                buffered.Tell64();
                buffered.GetFileSizeBytes64();
                LProcessFileRead(process_, reader, buffer_, 10);
                LProcessFileWrite(process_, writer, buffer_, 10);
              }),
              IsEmpty());
}

TEST_F(FileIoFault, EachPieceIsOneWrite) {
  EXPECT_THAT(CallsOf([&] { writer_.WriteString("text"); }), ElementsAre("write 4"));
  EXPECT_THAT(CallsOf([&] { writer_.WriteStringUTF8("text"); }), ElementsAre("write 4"));
  EXPECT_THAT(CallsOf([&] { writer_.WriteLineLF("text"); }), ElementsAre("write 4", "write 1"));
  EXPECT_THAT(CallsOf([&] { writer_.WriteLineCRLF("text"); }), ElementsAre("write 4", "write 2"));
  EXPECT_THAT(CallsOf([&] { writer_.WriteStringLenUTF8("text"); }), ElementsAre("write 1", "write 4"));
  EXPECT_THAT(CallsOf([&] { writer_.WriteStringLenUTF8(std::string(255, 'x').c_str()); }),
              ElementsAre("write 1", "write 4", "write 255"));
  EXPECT_THAT(CallsOf([&] { fprintf(writer_, "%s%d", std::string(1000, 'x').c_str(), 1); }), ElementsAre("write 1001"));
}

TEST_F(FileIoFault, ATextIsReadInOneCallAndTheRestSkipped) {
  file_.Fill(
      "\x03"
      "abc\xFF\x2C\x01" +
      std::string(2, '\0') + std::string(300, 'x'));
  EXPECT_THAT(CallsOf([&] { reader_.ReadStringLenUTF8(buffer_); }), ElementsAre("read 1", "read 3"));
  EXPECT_THAT(CallsOf([&] { reader_.ReadStringLenUTF8(buffer_); }),
              ElementsAre("read 1", "read 4", "read 259", "lseek 41 1"));
}

TEST_F(FileIoFault, ALineOfAFileIsReadAheadAndTheRestGivenBack) {
  file_.Fill("line\n" + std::string(9000, 'x') + "\n");
  EXPECT_THAT(CallsOf([&] { reader_.ReadLine(buffer_, 100); }),
              ElementsAre("fstat", "lseek 0 1", "read 256", "lseek -251 1"));
  EXPECT_THAT(CallsOf([&] { reader_.ReadLine(buffer_, 100); }),
              ElementsAre("fstat", "lseek 0 1", "read 256", "read 8192", "read 8192", "read 8192"));
}

TEST_F(FileIoFault, WhatIsNoFileWithASizeIsReadByteByByte) {
  const std::function<int(struct stat*)> answers[] = {[](struct stat*) { return FailWith(EIO); },
                                                      [](struct stat* status) {
                                                        status->st_size = 0;
                                                        return 0;
                                                      },
                                                      [](struct stat* status) {
                                                        status->st_mode = S_IFCHR | 0666;
                                                        return 0;
                                                      },
                                                      [](struct stat* status) {
                                                        status->st_mode = S_IFIFO | 0666;
                                                        return 0;
                                                      }};
  for (const auto& answer : answers) {
    file_.Fill("a\r\nb\nc");
    on_fstat = answer;
    EXPECT_THAT(CallsOf([&] { EXPECT_EQ(reader_.ReadLine(buffer_, 10), 1); }),
                ElementsAre("fstat", "read 1", "read 1", "read 1"));
    EXPECT_THAT(CallsOf([&] { EXPECT_EQ(reader_.ReadLine(buffer_, 10), 1); }),
                ElementsAre("fstat", "read 1", "read 1", "read 1", "lseek -1 1"));
    EXPECT_THAT(CallsOf([&] { EXPECT_EQ(reader_.ReadLine(buffer_, 10), 1); }),
                ElementsAre("fstat", "read 1", "read 1"));
    on_fstat = {};
  }
}

// A file system may have files with a size in which nobody can go back.
TEST_F(FileIoFault, AFileThatCannotSeekIsReadByteByByte) {
  file_.Fill("a\nb");
  on_lseek = [](off_t, int) { return FailWith(ESPIPE); };
  EXPECT_THAT(CallsOf([&] { EXPECT_EQ(reader_.ReadLine(buffer_, 10), 1); }),
              ElementsAre("fstat", "lseek 0 1", "read 1", "read 1", "read 1", "lseek -1 1"));
  on_lseek = {};
}

TEST_F(FileIoFault, TheBufferedReaderAsksNoMoreThanItHasTo) {
  file_.Fill(std::string(300, 'x') + "\n\ny\r\nz");
  EXPECT_THAT(CallsOf([&] { buffered_.Read(buffer_, 257); }), ElementsAre("read 257"));
  EXPECT_THAT(CallsOf([&] { buffered_.Read(buffer_, 1); }), ElementsAre("read 8192"));
  EXPECT_THAT(CallsOf([&] {
                buffered_.ReadLine(buffer_, 100);
                buffered_.ReadLine(buffer_, 100);
                buffered_.ReadLine(buffer_, 100);
                buffered_.Peek(buffer_, 1);
              }),
              IsEmpty());
  EXPECT_THAT(CallsOf([&] { buffered_.Peek(buffer_, 5); }), ElementsAre("lseek 0 1", "read 4", "lseek 306 0"));
  EXPECT_THAT(CallsOf([&] { buffered_.Read(buffer_, 5); }), ElementsAre("read 8192"));
  EXPECT_THAT(CallsOf([&] { buffered_.Seek(2); }), ElementsAre("lseek 2 0"));
  EXPECT_THAT(CallsOf([&] { buffered_.Peek(buffer_, 5); }), ElementsAre("lseek 0 1", "read 5", "lseek 7 0"));
  EXPECT_THAT(CallsOf([&] { buffered_.SeekOffset64(7); }), ElementsAre("lseek 2 1"));
  EXPECT_THAT(CallsOf([&] { buffered_.Tell64(); }), ElementsAre("lseek 0 1"));
  EXPECT_THAT(CallsOf([&] { buffered_.GetFileSizeBytes64(); }), ElementsAre("fstat"));
}

// --- Failures of reads ---

TEST_F(FileIoFault, AFailedReadEndsTheLine) {
  for (const int error : {EIO, EINTR, EAGAIN}) {
    file_.Fill("abc\ndef");
    int count = 0;
    on_read = [&](void* bytes, size_t) { return ++count == 2 ? FailWith(error) : ReadReally(bytes, 2); };
    EXPECT_EQ(reader_.ReadLine(buffer_, 10), 1);
    EXPECT_STREQ(buffer_, "ab");
    EXPECT_EQ(Offset(), 2);
    count = 1;
    EXPECT_EQ(reader_.ReadLine(buffer_, 10), 0);
    EXPECT_STREQ(buffer_, "");
    EXPECT_EQ(Offset(), 2);
    errno = 0;
    count = 1;
    LStringLong line;
    EXPECT_EQ(reader_.ReadLine(line), 0);
    EXPECT_EQ(errno, error);
    EXPECT_EQ(reader_.ReadLine(line), 1);
    EXPECT_STREQ(line.c_str(), "c");
    EXPECT_EQ(Offset(), 4);
  }
}

TEST_F(FileIoFault, AFailedReadBehindALineTakesNothing) {
  for (const char* const bytes : {"a\nb", "a\rb"}) {
    file_.Fill(bytes);
    int count = 0;
    on_read = [&](void* to, size_t) { return ++count == 2 ? FailWith(EIO) : ReadReally(to, 2); };
    EXPECT_EQ(reader_.ReadLine(buffer_, 10), 1);
    EXPECT_STREQ(buffer_, "a");
    EXPECT_EQ(Offset(), 2);
    count = 0;
    buffered_.Seek(0);
    EXPECT_EQ(buffered_.ReadLine(buffer_, 10), 1);
    EXPECT_STREQ(buffer_, "a");
    EXPECT_EQ(buffered_.Tell64(), 2);
    count = 2;
    EXPECT_EQ(buffered_.ReadLine(buffer_, 10), 1);
    EXPECT_STREQ(buffer_, "b");
  }
}

TEST_F(FileIoFault, AFailedReadOfTheBufferDeliversWhatThereWas) {
  file_.Fill(std::string(9000, 'x'));
  EXPECT_EQ(buffered_.Read(buffer_, 10), 10u);
  on_read = [](void*, size_t) { return FailWith(EIO); };
  EXPECT_EQ(buffered_.Peek(buffer_, 9000), 8182u);
  EXPECT_EQ(buffered_.Read(buffer_, 9000), 8182u);
  EXPECT_EQ(buffered_.Read(buffer_, 10), 0u);
  EXPECT_EQ(buffered_.Read(buffer_, 1000), 0u);
  EXPECT_EQ(buffered_.Peek(buffer_, 10), 0u);
  EXPECT_EQ(buffered_.ReadLine(buffer_, 10), 0);
  EXPECT_STREQ(buffer_, "");
  EXPECT_EQ(buffered_.Tell64(), 8192);
  on_read = {};
  EXPECT_EQ(buffered_.Read(buffer_, 1000), 808u);
}

TEST_F(FileIoFault, ATextWhoseReadsFailIsEmpty) {
  file_.Fill(
      "\x03"
      "abc\x02"
      "de");
  int count = 0;
  on_read = [&](void* bytes, size_t size) { return ++count == 2 ? FailWith(EIO) : ReadReally(bytes, size); };
  reader_.ReadStringLenUTF8(buffer_);
  EXPECT_STREQ(buffer_, "");
  EXPECT_EQ(Offset(), 4);
  reader_.ReadStringLenUTF8(buffer_);
  EXPECT_STREQ(buffer_, "de");
}

TEST_F(FileIoFault, ShortReadsChangeNoLine) {
  support::Seeded seeded(3);
  for (int round = 0; round < 300; ++round) {
    std::string bytes;
    for (unsigned int i = seeded.Below(60); i > 0; --i) bytes += "ab\n\r"[seeded.Below(4)];
    file_.Fill(bytes);
    on_read = [&](void* to, size_t size) { return ReadReally(to, std::min<size_t>(size, 1 + seeded.Below(5))); };
    support::ModelFile model(bytes);
    support::ModelReader model_reader{support::ModelFile(bytes)};
    for (bool has_more = true; has_more;) {
      const support::ModelLine expected = support::ReadModelLine(model, 9);
      const int result = reader_.ReadLine(buffer_, 10);
      ASSERT_EQ((support::ModelLine{result, buffer_}), expected);
      ASSERT_EQ(Offset(), static_cast<long long>(model.Offset()));
      has_more = result != 0;
    }
    buffered_.Seek(0);
    for (bool has_more = true; has_more;) {
      const support::ModelLine expected = model_reader.ReadLine(9);
      const int result = buffered_.ReadLine(buffer_, 10);
      ASSERT_EQ((support::ModelLine{result, buffer_}), expected);
      ASSERT_EQ(buffered_.Tell64(), model_reader.Tell());
      has_more = result != 0;
    }
  }
}

TEST_F(FileIoFault, AShortReadIsReturnedAsItIsWhereItPassesTheBuffer) {
  file_.Fill(std::string(1000, 'x'));
  on_read = [&](void* to, size_t size) { return ReadReally(to, std::min<size_t>(size, 100)); };
  EXPECT_EQ(buffered_.Read(buffer_, 257), 100u);
  // Through the buffer it goes on.
  EXPECT_EQ(buffered_.Read(buffer_, 256), 256u);
  EXPECT_EQ(buffered_.Tell64(), 356);
}

// --- Failures of seeks ---

TEST_F(FileIoFault, ASeekThatFailsIsToldAndCountsAsZero) {
  file_.Fill("0123456789");
  EXPECT_EQ(buffered_.Read(buffer_, 4), 4u);
  on_lseek = [](off_t, int) { return FailWith(EINVAL); };
  EXPECT_EQ(buffered_.Tell64(), -6);
  EXPECT_EQ(buffered_.Seek(3), -1);
  EXPECT_EQ(buffered_.Tell64(), 0);
  EXPECT_EQ(buffered_.Seek64(3), -1);
  EXPECT_EQ(buffered_.SeekOffset64(3), -1);
}

TEST_F(FileIoFault, AnOffsetTooFarBackDoesNotWrap) {
  file_.Fill("0123456789");
  const long long least = std::numeric_limits<long long>::min();
  for (const long long delta : {least, least + 5, least + 6}) {
    buffered_.Seek(0);
    buffered_.Read(buffer_, 4);
    EXPECT_THAT(CallsOf([&] { EXPECT_EQ(buffered_.SeekOffset64(delta), -1); }),
                ElementsAre("lseek " + std::to_string(least) + " 1"));
  }
}

TEST_F(FileIoFault, APeekWhoseOffsetIsUnknownGoesToTheBeginning) {
  file_.Fill("0123456789");
  buffered_.Seek(4);
  on_lseek = [&](off_t offset, int from) -> off_t {
    if (from == SEEK_CUR) return FailWith(EINVAL);
    return Next(&lseek, "lseek")(file_.Descriptor(), offset, from);
  };
  EXPECT_EQ(buffered_.Peek(buffer_, 3), 3u);
  EXPECT_EQ(std::string(buffer_, 3), "456");
  EXPECT_EQ(Offset(), 3);
}

TEST_F(FileIoFault, ASizeThatIsNotToldIsZero) {
  file_.Fill("0123456789");
  on_fstat = [](struct stat*) { return FailWith(EIO); };
  EXPECT_EQ(buffered_.GetFileSizeBytes64(), 0u);
}

// --- Failures of writes ---

TEST_F(FileIoFault, AWriteIsNotTriedAgain) {
  for (const int error : {EINTR, ENOSPC, EIO, EAGAIN}) {
    on_write = [=](const void*, size_t) { return FailWith(error); };
    EXPECT_THAT(CallsOf([&] { EXPECT_EQ(writer_.WriteString("text"), 0); }), ElementsAre("write 4"));
    EXPECT_EQ(errno, error);
    EXPECT_THAT(CallsOf([&] { EXPECT_EQ(writer_.WriteStringUTF8("text"), 0); }), ElementsAre("write 4"));
    EXPECT_THAT(CallsOf([&] { EXPECT_EQ(writer_.WriteStringLenUTF8("text"), -1); }), ElementsAre("write 1", "write 4"));
    EXPECT_THAT(CallsOf([&] { EXPECT_EQ(writer_.WriteLineLF("text"), -1); }), ElementsAre("write 4", "write 1"));
    EXPECT_THAT(CallsOf([&] { EXPECT_EQ(writer_.WriteLineCRLF("text"), -1); }), ElementsAre("write 4", "write 2"));
    EXPECT_THAT(CallsOf([&] { EXPECT_EQ(fprintf(writer_, "text"), 4u); }), ElementsAre("write 4"));
  }
}

TEST_F(FileIoFault, AShortWriteIsTold) {
  on_write = [&](const void* bytes, size_t size) { return WriteReally(bytes, std::min<size_t>(size, 3)); };
  EXPECT_EQ(writer_.WriteString("text"), 0);
  EXPECT_EQ(writer_.WriteString("abc"), 1);
  EXPECT_EQ(writer_.WriteStringLenUTF8("text"), 3);
  EXPECT_EQ(writer_.WriteLineCRLF("text"), 2);
  EXPECT_EQ(fprintf(writer_, "text"), 4u);
  EXPECT_EQ(file_.Bytes(), "texabc\x04textex\r\ntex");
}

TEST_F(FileIoFault, ALinesResultIsThatOfItsEnd) {
  int count = 0;
  on_write = [&](const void*, size_t size) { return ++count % 2 == 1 ? FailWith(ENOSPC) : static_cast<ssize_t>(size); };
  EXPECT_EQ(writer_.WriteLineLF("text"), 1);
  EXPECT_EQ(writer_.WriteLineCRLF("text"), 2);
  EXPECT_EQ(writer_.WriteStringLenUTF8("text"), 4);
}

// --- Memory ---

/// \return did the function have all the memory it wanted?
bool RunWithoutMemory(const std::function<void()>& function) {
  is_memory_full = true;
  try {
    function();
    is_memory_full = false;
    return true;
  } catch (const std::bad_alloc&) {
    is_memory_full = false;
    return false;
  }
}

TEST_F(FileIoFault, WithoutMemoryALineIsGivenBack) {
  file_.Fill(std::string(600, 'x') + "\nnext");
  LStringLong line;
  EXPECT_FALSE(RunWithoutMemory([&] { reader_.ReadLine(line); }));
  EXPECT_EQ(line.size(), 0u);
  EXPECT_EQ(Offset(), 0);
  line.GrowToSize(260);
  EXPECT_FALSE(RunWithoutMemory([&] { reader_.ReadLine(line); }));
  // What the text holds is read, and nothing else.
  EXPECT_EQ(line.c_str(), std::string(static_cast<std::size_t>(Offset()), 'x'));
  EXPECT_EQ(reader_.ReadLine(buffer_, 1000), 1);
  EXPECT_EQ(Offset(), 601);
}

TEST_F(FileIoFault, WithoutMemoryNothingIsWritten) {
  EXPECT_THAT(CallsOf([&] { EXPECT_FALSE(RunWithoutMemory([&] { fprintf(writer_, "text"); })); }), IsEmpty());
}

// --- Transfers ---

class Counting : public LProcessInterfaceVoid {
 public:
  bool IsToStop() override {
    ++asked;
    return false;
  }
  void SetProgress(double fraction) override { fractions.push_back(fraction); }

  int asked = 0;
  std::vector<double> fractions;
};

TEST_F(FileIoFault, ATransferMovesAChunkACall) {
  const std::string block(25000, 'x');
  EXPECT_THAT(CallsOf([&] { EXPECT_EQ(LProcessFileWrite(process_, writer_, block.data(), 25000), 0); }),
              ElementsAre("write 10240", "write 10240", "write 4520"));
  file_.Fill(block);
  std::string read(25000, '#');
  EXPECT_THAT(CallsOf([&] { EXPECT_EQ(LProcessFileRead(process_, reader_, read.data(), 25000), 0); }),
              ElementsAre("read 10240", "read 10240", "read 4520"));
}

TEST_F(FileIoFault, ATransferEndsAtTheFirstChunkThatIsNotWhole) {
  const std::string block(25000, 'x');
  for (const int bad : {1, 2, 3}) {
    for (const int error : {EINTR, ENOSPC, EIO, 0}) {
      int count = 0;
      const auto answer = [&](size_t size) -> ssize_t {
        if (++count != bad) return static_cast<ssize_t>(size);
        return error != 0 ? FailWith(error) : static_cast<ssize_t>(size) - 1;
      };
      on_write = [&](const void*, size_t size) { return answer(size); };
      on_read = [&](void*, size_t size) { return answer(size); };
      Counting writing, reading;
      EXPECT_EQ(LProcessFileWrite(writing, writer_, block.data(), 25000), 2);
      EXPECT_EQ(writing.asked, bad);
      EXPECT_EQ(writing.fractions.size(), static_cast<std::size_t>(bad) - 1);
      count = 0;
      EXPECT_EQ(LProcessFileRead(reading, reader_, buffer_, 20000), bad == 3 ? 0 : 2);
      EXPECT_EQ(reading.asked, std::min(bad, 2));
    }
  }
}

}  // namespace
