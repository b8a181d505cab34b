#include <sys/stat.h>

#include <algorithm>
#include <cstddef>
#include <limits>

#include <tillvane/files/LReadFileBuffered.h>
#include <tillvane/files/descriptor_io.h>
#include <tillvane/files/line_reading.h>
#include <tillvane/text/copy_short.h>

// The order and the widths of the fields are part of the binary interface.
struct LReadFileBufferedLayout {
  static_assert(offsetof(LReadFileBuffered, descriptor_) == 0);
  static_assert(offsetof(LReadFileBuffered, buffer_) == 4);
  static_assert(offsetof(LReadFileBuffered, position_) == 4 + 8192);
  static_assert(offsetof(LReadFileBuffered, count_) == 4 + 8192 + 4);
  static_assert(sizeof(LReadFileBuffered) == 4 + 8192 + 8);
};

namespace {

// So many bytes are read straight to where they are wanted: the buffer is for what is smaller.
constexpr unsigned long kLeastPastBuffer = 257;

}  // namespace

bool LReadFileBuffered::Refill() {
  position_ = 0;
  count_ = static_cast<unsigned int>(files::Moved(files::ReadOnce(descriptor_, buffer_, sizeof buffer_)));
  return count_ != 0;
}

unsigned int LReadFileBuffered::TakeHeld(char* to, unsigned long size) {
  const auto taken = static_cast<unsigned int>(std::min<unsigned long>(Held(), size));
  text::CopyShort(to, buffer_ + position_, taken);
  position_ += taken;
  return taken;
}

unsigned long LReadFileBuffered::Read(void* buffer, unsigned long size) {
  char* const to = static_cast<char*>(buffer);
  unsigned long delivered = TakeHeld(to, size);
  while (delivered < size) {
    const unsigned long wanted = size - delivered;
    if (wanted >= kLeastPastBuffer)
      return delivered + files::Moved(files::ReadOnce(descriptor_, to + delivered, wanted));
    if (!Refill()) break;
    delivered += TakeHeld(to + delivered, wanted);
  }
  return delivered;
}

unsigned long LReadFileBuffered::Peek(void* buffer, unsigned long size) {
  char* const to = static_cast<char*>(buffer);
  const unsigned int position = position_;
  const bool was_empty = Held() == 0;
  unsigned long delivered = TakeHeld(to, size);
  position_ = position;
  if (delivered == size) return delivered;
  const off_t noted = std::max<off_t>(files::SeekOnce(descriptor_, 0, SEEK_CUR), 0);
  delivered += files::Moved(files::ReadOnce(descriptor_, to + delivered, size - delivered));
  if (was_empty) {
    position_ = 0;
    count_ = static_cast<unsigned int>(std::min<unsigned long>(delivered, sizeof buffer_));
    std::copy_n(to, count_, buffer_);
  }
  files::SeekOnce(descriptor_, noted + (was_empty ? count_ : 0), SEEK_SET);
  return delivered;
}

int LReadFileBuffered::ReadLine(char* buffer, unsigned long size) {
  struct Source {
    LReadFileBuffered& file;

    const char* Begin() const { return file.buffer_ + file.position_; }
    const char* End() const { return file.buffer_ + file.count_; }
    void Drop(std::size_t count) { file.position_ += static_cast<unsigned int>(count); }
    bool Refill() { return file.Refill(); }
  };
  Source source{*this};
  files::LineBuffer line(buffer, size);
  const int result = files::ReadLine(source, line, [](char end) { return end == '\r' ? '\n' : '\0'; });
  line.Terminate();
  return result;
}

long long LReadFileBuffered::Seek(unsigned int position) { return Seek64(position); }

long long LReadFileBuffered::Seek64(unsigned long long position) {
  return SeekTo(static_cast<long long>(position), SEEK_SET);
}

long long LReadFileBuffered::SeekOffset64(long long delta) {
  // Before the beginning of the file in any case, where the difference would be too small for its type.
  const long long least = std::numeric_limits<long long>::min() + Held();
  return SeekTo(std::max(delta, least) - Held(), SEEK_CUR);
}

long long LReadFileBuffered::SeekTo(long long offset, int from) {
  position_ = count_ = 0;
  return files::SeekOnce(descriptor_, offset, from);
}

long long LReadFileBuffered::Tell64() const {
  return std::max<long long>(files::SeekOnce(descriptor_, 0, SEEK_CUR), 0) - Held();
}

unsigned long long LReadFileBuffered::GetFileSizeBytes64() const {
  struct stat status;
  if (descriptor_ == files::kNoDescriptor || fstat(descriptor_, &status) != 0) return 0;
  return static_cast<unsigned long long>(status.st_size);
}
