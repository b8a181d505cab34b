// System calls that fail under the text files, and the order in which they come. The definitions here take the place of
// the C library's for everything that is linked into this program; nobody sleeps.

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include <tests/support/faults.h>
#include <tests/support/next_definition.h>
#include <tests/support/temp_folder.h>
#include <tillvane/text/LTextFile.h>

namespace {

using testing::ElementsAre;

// What a call does instead, while it is set.
support::Replacement<int(struct stat* status)> on_fstat{"fstat"};
support::Replacement<int(int operation)> on_flock{"flock"};
support::Replacement<int()> on_ftruncate{"ftruncate"}, on_close{"close"};
support::Replacement<ssize_t(void* bytes, size_t size)> on_read{"read"};
support::Replacement<ssize_t(int descriptor, const void* bytes, size_t size)> on_write{"write"};
support::Replacement<int(const char* path, const std::string& name, const std::string& value, int flags)> on_setxattr{
    "setxattr"};
support::Replacement<int(const timespec* time)> on_nanosleep{"nanosleep"};

// The calls that were made, while this is set.
std::vector<std::string>* calls;

void Note(const std::string& call) {
  if (calls != nullptr) calls->push_back(call);
}

using support::Next;

}  // namespace

extern "C" {

int open(const char* path, int flags, ...) {
  mode_t mode = 0;
  if ((flags & O_CREAT) != 0) {
    va_list arguments;
    va_start(arguments, flags);
    mode = va_arg(arguments, mode_t);
    va_end(arguments);
  }
  Note("open " + std::to_string(flags) + ' ' + std::to_string(mode));
  return Next(&open, "open")(path, flags, mode);
}

int fstat(int descriptor, struct stat* status) noexcept {
  Note("fstat");
  const int result = Next(&fstat, "fstat")(descriptor, status);
  return result == 0 && on_fstat ? on_fstat(status) : result;
}

int flock(int descriptor, int operation) noexcept {
  Note("flock " + std::to_string(operation));
  return on_flock ? on_flock(operation) : Next(&flock, "flock")(descriptor, operation);
}

int ftruncate(int descriptor, off_t size) noexcept {
  Note("ftruncate " + std::to_string(size));
  return on_ftruncate ? on_ftruncate() : Next(&ftruncate, "ftruncate")(descriptor, size);
}

off_t lseek(int descriptor, off_t offset, int from) noexcept {
  Note("lseek " + std::to_string(offset) + ' ' + std::to_string(from));
  return Next(&lseek, "lseek")(descriptor, offset, from);
}

ssize_t read(int descriptor, void* bytes, size_t size) {
  Note("read " + std::to_string(size));
  return on_read ? on_read(bytes, size) : Next(&read, "read")(descriptor, bytes, size);
}

ssize_t write(int descriptor, const void* bytes, size_t size) {
  Note("write " + std::to_string(size));
  return on_write ? on_write(descriptor, bytes, size) : Next(&write, "write")(descriptor, bytes, size);
}

int close(int descriptor) {
  Note("close");
  const int result = Next(&close, "close")(descriptor);
  return on_close ? on_close() : result;
}

int setxattr(const char* path, const char* name, const void* value, size_t size, int flags) noexcept {
  Note("setxattr");
  if (!on_setxattr) return Next(&setxattr, "setxattr")(path, name, value, size, flags);
  return on_setxattr(path, name, {static_cast<const char*>(value), size}, flags);
}

int nanosleep(const timespec* time, timespec* left) {
  return on_nanosleep ? on_nanosleep(time) : Next(&nanosleep, "nanosleep")(time, left);
}

}  // extern "C"

namespace {

using Loader = int (*)(const char*, LStringLong&);
constexpr Loader kLoaders[] = {LLoadText, LLoadTextUnicode, LLoadTextAsUTF16, LLoadTextAutoChar};

// A saver that replaces, and one that appends.
using Saver = int (*)(const char*, const char*);
constexpr Saver kSavers[] = {LSaveText, LSaveAppendText};

int FailWith(int error) {
  errno = error;
  return -1;
}

std::string Contents(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string BytesOf(const LStringLong& text) { return {text.c_str(), text.size()}; }

class TextFileFault : public testing::Test {
 protected:
  TextFileFault() {
    on_setxattr = [](const char*, const std::string&, const std::string&, int) { return 0; };
    on_nanosleep = [this](const timespec* time) {
      sleeps_.push_back(time->tv_sec * 1000 + time->tv_nsec / 1000000);
      return 0;
    };
  }
  ~TextFileFault() override {
    calls = nullptr;
    on_fstat = {};
    on_flock = {};
    on_ftruncate = on_close = {};
    on_read = {};
    on_write = {};
    on_setxattr = {};
    on_nanosleep = {};
  }

  /// The calls that a function makes.
  std::vector<std::string> CallsOf(const std::function<void()>& function) {
    std::vector<std::string> made;
    calls = &made;
    function();
    calls = nullptr;
    return made;
  }

  const support::TempFolder folder_;
  const std::string path_ = folder_.Write("file", "0123456789");
  const char* const file_ = path_.c_str();
  const std::string missing_ = folder_.File("missing/file");
  std::vector<long> sleeps_;
};

constexpr int kToRead = O_RDONLY | O_CLOEXEC, kToWrite = O_RDWR | O_CREAT | O_CLOEXEC;

std::string OpenToRead() { return "open " + std::to_string(kToRead) + " 0"; }
std::string OpenToWrite() { return "open " + std::to_string(kToWrite) + ' ' + std::to_string(0666); }

// The first fstat is the lock's own.

TEST_F(TextFileFault, ALoaderReadsOnceUnderASharedLock) {
  for (const Loader load : kLoaders) {
    LStringLong text;
    EXPECT_THAT(CallsOf([&] { load(file_, text); }),
                ElementsAre(OpenToRead(), "fstat", "flock 5", "fstat", "read 10", "close"));
  }
}

TEST_F(TextFileFault, ASaverWritesUnderAnExclusiveLock) {
  EXPECT_THAT(CallsOf([&] { LSaveText(file_, "text"); }),
              ElementsAre(OpenToWrite(), "fstat", "flock 6", "ftruncate 0", "write 4", "close", "setxattr"));
  EXPECT_THAT(CallsOf([&] { LSaveAppendText(file_, "text"); }),
              ElementsAre(OpenToWrite(), "fstat", "flock 6", "lseek 0 2", "write 4", "close", "setxattr"));
  LStringLong text;
  text = "text";
  EXPECT_THAT(CallsOf([&] { LSaveTextAsUnicodeBOM(file_, text); }),
              ElementsAre(OpenToWrite(), "fstat", "flock 6", "ftruncate 0", "write 10", "close"));
}

TEST_F(TextFileFault, WhatDoesNotOpenIsLockedAndMarkedAllTheSame) {
  // The lock asks what kind of file the descriptor is, and sees that it is none.
  LStringLong text;
  text = "text";
  for (const Loader load : kLoaders) {
    errno = 0;
    EXPECT_THAT(CallsOf([&] { EXPECT_EQ(load(missing_.c_str(), text), 0); }), ElementsAre(OpenToRead(), "fstat"));
    EXPECT_EQ(errno, ENOENT);
  }
  for (const int answer : {0, -1}) {
    on_setxattr = [=](const char*, const std::string&, const std::string&, int) { return answer; };
    for (const Saver save : kSavers) {
      EXPECT_THAT(CallsOf([&] { EXPECT_EQ(save(missing_.c_str(), "x"), answer); }),
                  ElementsAre(OpenToWrite(), "fstat", "setxattr"));
    }
  }
  EXPECT_THAT(CallsOf([&] { EXPECT_EQ(LSaveTextAsUnicodeBOM(missing_.c_str(), text), -1); }),
              ElementsAre(OpenToWrite(), "fstat"));
}

TEST_F(TextFileFault, AFileIsMarkedByItsAttribute) {
  int count = 0;
  on_setxattr = [&](const char* path, const std::string& name, const std::string& value, int flags) {
    EXPECT_EQ(path, path_);
    EXPECT_EQ(name, "user.com.apple.TextEncoding");
    EXPECT_EQ(value, "utf-8;134217984");
    EXPECT_EQ(flags, 0);
    return ++count;
  };
  EXPECT_EQ(LSaveText(file_, "x"), 1);
  EXPECT_EQ(LSaveAppendText(file_, "x"), 2);
}

TEST_F(TextFileFault, WithoutAttributesTheTextIsSaved) {
  for (const int error : {ENOTSUP, EPERM, ENOSPC, EROFS}) {
    SCOPED_TRACE(error);
    on_setxattr = [=](const char*, const std::string&, const std::string&, int) { return FailWith(error); };
    EXPECT_EQ(LSaveText(file_, "ab"), -1);
    EXPECT_EQ(errno, error);
    EXPECT_EQ(LSaveAppendText(file_, "cd"), -1);
    EXPECT_EQ(Contents(path_), "abcd");
  }
}

TEST_F(TextFileFault, WithoutTheLockItGoesOn) {
  struct Case {
    int error;
    std::vector<long> load_sleeps, save_sleeps;
  };
  const Case cases[] = {
      {EWOULDBLOCK, {32, 64, 128, 256, 512}, {16, 32, 64, 128, 256}}, {ENOLCK, {}, {}}, {EINTR, {}, {}}};
  for (const Case& one : cases) {
    SCOPED_TRACE(one.error);
    on_flock = [&](int) { return FailWith(one.error); };
    sleeps_.clear();
    LStringLong text;
    EXPECT_EQ(LLoadText(file_, text), 1);
    EXPECT_EQ(text.size(), 10u);
    EXPECT_EQ(sleeps_, one.load_sleeps);
    sleeps_.clear();
    EXPECT_EQ(LSaveText(file_, "9876543210"), 0);
    EXPECT_EQ(Contents(path_), "9876543210");
    EXPECT_EQ(sleeps_, one.save_sleeps);
  }
}

TEST_F(TextFileFault, WithoutALengthAFileIsEmpty) {
  const off_t too_long = off_t{1} << 32;
  const std::function<int(struct stat*)> answers[] = {[](struct stat*) { return FailWith(EIO); },
                                                      [=](struct stat* status) {
                                                        status->st_size = too_long;
                                                        return 0;
                                                      },
                                                      [](struct stat* status) {
                                                        status->st_size = -1;
                                                        return 0;
                                                      }};
  for (const auto& answer : answers) {
    for (const Loader load : kLoaders) {
      LStringLong text;
      text = "what was there";
      on_fstat = answer;
      EXPECT_EQ(load(file_, text), 1);
      on_fstat = {};
      EXPECT_EQ(text.size(), 0u);
      EXPECT_STREQ(text.c_str(), "");
    }
  }
}

/// Leaves memory of this size as it was, for the next who asks for it.
void LeaveTraces(std::size_t size) {
  std::vector<std::unique_ptr<char[]>> blocks;
  for (int i = 0; i < 8; ++i) {
    blocks.push_back(std::make_unique<char[]>(size));
    std::fill_n(blocks.back().get(), size, 'x');
  }
}

TEST_F(TextFileFault, WhatAReadLeavesIsZeros) {
  struct Case {
    ssize_t got;
    int error;
  };
  for (const Case& one : {Case{3, 0}, Case{0, 0}, Case{-1, EIO}, Case{-1, EINTR}, Case{9, 0}}) {
    SCOPED_TRACE(one.got);
    on_read = [&](void* bytes, size_t) -> ssize_t {
      if (one.got < 0) return FailWith(one.error);
      std::fill_n(static_cast<char*>(bytes), one.got, 'a');
      return one.got;
    };
    const std::string expected = std::string(static_cast<std::size_t>(std::max<ssize_t>(one.got, 0)), 'a');
    for (const bool has_room : {false, true}) {
      LStringLong text;
      if (has_room) text = "xxxxxxxxxxxxxxxxxx";
      LeaveTraces(11);
      const auto made = CallsOf([&] { EXPECT_EQ(LLoadText(file_, text), 1); });
      EXPECT_EQ(std::count(made.begin(), made.end(), "read 10"), 1);
      EXPECT_EQ(BytesOf(text), expected + std::string(10 - expected.size(), '\0'));
    }
    LStringLong text;
    LeaveTraces(12);
    EXPECT_EQ(LLoadTextAsUTF16(file_, text), 1);
    std::string units;
    for (std::size_t i = 0; i < expected.size(); i += 2) units += i + 1 < expected.size() ? "\xE6\x85\xA1" : "a";
    EXPECT_EQ(text.c_str(), units);
  }
}

TEST_F(TextFileFault, ASaverGoesOnUntilAllIsWritten) {
  const std::string text = "the whole text";
  int count = 0;
  on_write = [&](int descriptor, const void* bytes, size_t size) -> ssize_t {
    // Interrupted every other time, and never more than three bytes.
    if (++count % 2 == 1) return FailWith(EINTR);
    return Next(&write, "write")(descriptor, bytes, std::min<size_t>(size, 3));
  };
  EXPECT_EQ(LSaveText(file_, text.c_str()), 0);
  EXPECT_EQ(Contents(path_), text);
  EXPECT_EQ(LSaveAppendText(file_, text.c_str()), 0);
  EXPECT_EQ(Contents(path_), text + text);
  LStringLong ascii;
  ascii = "ab";
  EXPECT_EQ(LSaveTextAsUnicodeBOM(file_, ascii), 0);
  EXPECT_EQ(Contents(path_), std::string("\xFF\xFE"
                                         "a\0b\0",
                                         6));
}

TEST_F(TextFileFault, ASaverEndsAtAnError) {
  for (const int error : {ENOSPC, EIO, EDQUOT, 0}) {
    SCOPED_TRACE(error);
    int count = 0;
    on_write = [&](int descriptor, const void* bytes, size_t) -> ssize_t {
      if (++count == 1) return Next(&write, "write")(descriptor, bytes, 3);
      // Whoever makes no progress may find any errno.
      return error != 0 ? FailWith(error) : FailWith(EINTR) + 1;
    };
    EXPECT_EQ(LSaveText(file_, "abcdef"), 0);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(Contents(path_), "abc");
  }
}

TEST_F(TextFileFault, AFileThatCannotBeEmptiedIsWrittenOver) {
  on_ftruncate = [] { return FailWith(EPERM); };
  EXPECT_EQ(LSaveText(file_, "abc"), 0);
  EXPECT_EQ(Contents(path_), "abc3456789");
}

TEST_F(TextFileFault, UnicodeAnswersWhatCloseAnswers) {
  const LStringLong text;
  on_close = [] { return FailWith(EIO); };
  EXPECT_EQ(LSaveTextAsUnicodeBOM(file_, text), -1);
  on_close = [] { return 0; };
  EXPECT_EQ(LSaveTextAsUnicodeBOM(file_, text), 0);
}

}  // namespace
