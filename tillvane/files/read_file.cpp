#include <sys/stat.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include <tillvane/files/LReadFile.h>
#include <tillvane/files/descriptor_io.h>
#include <tillvane/files/line_reading.h>
#include <tillvane/text/LStringFormat.h>

// The place and the width of the field are part of the binary interface.
struct LReadFileRefLayout {
  static_assert(offsetof(LReadFileRef, descriptor_) == 0);
  static_assert(sizeof(LReadFileRef) == 4);
};

namespace {

// A text of the record ends up in buffers of 260 bytes.
constexpr std::uint32_t kMostOfText = 259;
constexpr unsigned char kLongMark = 0xFF;

/// May more than what is wanted be read, and given back? Of anything but a regular file what was read may be gone. The
/// files that the system makes up while they are read, some of which are gone then too, have no size.
bool CanReadAhead(int descriptor) {
  struct stat status;
  return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0 &&
         files::SeekOnce(descriptor, 0, SEEK_CUR) >= 0;
}

/// The bytes of a file from the descriptor's offset on. What was not dropped is given back at the end, also while an
/// exception passes.
class BytesAhead {
 public:
  explicit BytesAhead(int descriptor)
      : descriptor_(descriptor),
        step_(descriptor != files::kNoDescriptor && CanReadAhead(descriptor) ? kFirstStep : 1) {}
  ~BytesAhead() {
    if (begin_ != end_) files::SeekOnce(descriptor_, begin_ - end_, SEEK_CUR);
  }
  BytesAhead(const BytesAhead&) = delete;
  BytesAhead& operator=(const BytesAhead&) = delete;

  const char* Begin() const { return begin_; }
  const char* End() const { return end_; }
  void Drop(std::size_t count) { begin_ += count; }

  bool Refill() {
    begin_ = bytes_;
    end_ = bytes_ + files::Moved(files::ReadOnce(descriptor_, bytes_, step_));
    if (step_ > 1) step_ = sizeof bytes_;
    return begin_ != end_;
  }

 private:
  // Most lines are short, and what is read beyond them is read again with the next one.
  static constexpr std::size_t kFirstStep = 256;

  const int descriptor_;
  std::size_t step_;
  char bytes_[8192];
  const char* begin_ = bytes_;
  const char* end_ = bytes_;
};

template <class Line>
int ReadLineFrom(int descriptor, Line& line) {
  BytesAhead bytes(descriptor);
  return files::ReadLine(bytes, line, [](char end) { return end == '\n' ? '\r' : '\n'; });
}

}  // namespace

long LReadFileRef::ReadStringUTF8(char* buffer, unsigned long length) {
  const ssize_t result = files::ReadOnce(descriptor_, buffer, length);
  buffer[files::Moved(result)] = '\0';
  return result;
}

void LReadFileRef::ReadStringLenUTF8(char* buffer) {
  unsigned char mark = 0;
  files::ReadOnce(descriptor_, &mark, sizeof mark);
  std::uint32_t length = mark;
  if (mark == kLongMark) {
    unsigned char bytes[4] = {};
    files::ReadOnce(descriptor_, bytes, sizeof bytes);
    length = bytes[0] | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16 | std::uint32_t{bytes[3]} << 24;
  }
  const long result = ReadStringUTF8(buffer, std::min(length, kMostOfText));
  const auto taken = static_cast<off_t>(files::Moved(result));
  if (taken < off_t{length}) files::SeekOnce(descriptor_, off_t{length} - taken, SEEK_CUR);
}

int LReadFileRef::ReadLine(char* buffer, unsigned long size) {
  files::LineBuffer line(buffer, size);
  const int result = ReadLineFrom(descriptor_, line);
  line.Terminate();
  return result;
}

int LReadFileRef::ReadLine(LStringLongTemplate<char>& line) {
  line.GrowToSize(LStringLong::kFormattedSize);
  line.SetLength(0);
  LStringLongTemplateWriter<char> writer(line);
  return ReadLineFrom(descriptor_, writer);
}
