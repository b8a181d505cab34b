#pragma once

#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <ostream>
#include <string>
#include <utility>

/// \file
/// What the readers of files do, written down a second time over a file in memory: a byte at a time, without any haste.

namespace support {

/// A file as `read` and `lseek` see it. One that cannot seek is a pipe whose writer is gone.
class ModelFile {
 public:
  explicit ModelFile(std::string bytes, bool can_seek = true) : bytes_(std::move(bytes)), can_seek_(can_seek) {}

  std::string Read(std::size_t size) {
    const std::string read = bytes_.substr(std::min(offset_, bytes_.size()), size);
    offset_ += read.size();
    return read;
  }
  /// \return the new offset, or -1
  long long Seek(long long offset, int from) {
    const auto here = from == SEEK_CUR ? static_cast<long long>(offset_) : 0;
    if (!can_seek_ || offset < -here || offset > std::numeric_limits<long long>::max() - here) return -1;
    offset_ = static_cast<std::size_t>(here + offset);
    return here + offset;
  }
  std::size_t Offset() const { return offset_; }

 private:
  std::string bytes_;
  bool can_seek_;
  std::size_t offset_ = 0;
};

struct ModelLine {
  int result = 0;
  std::string text;

  bool operator==(const ModelLine&) const = default;
  friend std::ostream& operator<<(std::ostream& stream, const ModelLine& line) {
    return stream << line.result << " '" << line.text << '\'';
  }
};

/// Of no more than `most` characters, without a buffer.
inline ModelLine ReadModelLine(ModelFile& file, std::size_t most = std::string::npos) {
  ModelLine line;
  for (;;) {
    const std::string byte = file.Read(1);
    if (byte.empty()) return line;
    line.result = 1;
    if (byte == "\n" || byte == "\r") {
      const std::string next = file.Read(1);
      const bool is_partner = next == (byte == "\n" ? "\r" : "\n");
      if (!next.empty() && !is_partner) file.Seek(-1, SEEK_CUR);
      return line;
    }
    if (line.text.size() < most) line.text += byte;
  }
}

/// A text behind its length, cut to 259 bytes.
inline std::string ReadModelText(ModelFile& file) {
  const auto number = [](const std::string& bytes, std::size_t index) {
    return index < bytes.size() ? static_cast<unsigned char>(bytes[index]) : 0ULL;
  };
  unsigned long long length = number(file.Read(1), 0);
  if (length == 255) {
    const std::string bytes = file.Read(4);
    length = number(bytes, 0) + (number(bytes, 1) << 8) + (number(bytes, 2) << 16) + (number(bytes, 3) << 24);
  }
  const std::string text = file.Read(std::min(length, 259ULL));
  if (text.size() < length) file.Seek(static_cast<long long>(length - text.size()), SEEK_CUR);
  return text;
}

/// A reader with a buffer over a file of its own.
class ModelReader {
 public:
  explicit ModelReader(ModelFile file) : file_(std::move(file)) {}

  std::string Read(std::size_t size) {
    std::string delivered;
    while (delivered.size() < size) {
      if (IsEmpty() && size - delivered.size() >= 257) return delivered + file_.Read(size - delivered.size());
      if (IsEmpty() && !Refill()) break;
      delivered += buffer_[position_++];
    }
    return delivered;
  }

  std::string Peek(std::size_t size) {
    const long long noted = std::max(file_.Seek(0, SEEK_CUR), 0LL);
    std::string delivered = buffer_.substr(position_, size);
    delivered += file_.Read(size - delivered.size());
    if (IsEmpty()) {
      Hold(delivered.substr(0, kBufferSize));
      file_.Seek(noted + Held(), SEEK_SET);
    } else {
      file_.Seek(noted, SEEK_SET);
    }
    return delivered;
  }

  ModelLine ReadLine(std::size_t most) {
    ModelLine line;
    while (!IsEmpty() || Refill()) {
      line.result = 1;
      const char byte = buffer_[position_++];
      if (byte == '\r' && (!IsEmpty() || Refill()) && buffer_[position_] == '\n') ++position_;
      if (byte == '\r' || byte == '\n') break;
      if (line.text.size() < most) line.text += byte;
    }
    return line;
  }

  long long Seek(long long offset) {
    Hold("");
    return file_.Seek(offset, SEEK_SET);
  }
  long long SeekOffset(long long delta) {
    const long long held = Held();
    Hold("");
    return delta < std::numeric_limits<long long>::min() + held ? -1 : file_.Seek(delta - held, SEEK_CUR);
  }
  long long Tell() { return std::max(file_.Seek(0, SEEK_CUR), 0LL) - Held(); }
  /// The descriptor's.
  std::size_t Offset() const { return file_.Offset(); }

 private:
  static constexpr std::size_t kBufferSize = 8192;

  bool IsEmpty() const { return Held() == 0; }
  long long Held() const { return static_cast<long long>(buffer_.size() - position_); }
  void Hold(std::string bytes) {
    buffer_ = std::move(bytes);
    position_ = 0;
  }
  bool Refill() {
    Hold(file_.Read(kBufferSize));
    return !IsEmpty();
  }

  ModelFile file_;
  std::string buffer_;
  std::size_t position_ = 0;
};

}  // namespace support
