#pragma once

#include <cstddef>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/guarded_buffer.h>

namespace support {

/// A guarded buffer for text. Its end fails the test when something was written beside it.
class GuardedText {
 public:
  static constexpr char kMark = GuardedBuffer<char>::kMark;

  explicit GuardedText(std::size_t size) : size_(size), buffer_(size) {}
  ~GuardedText() { EXPECT_TRUE(buffer_.IsWhole()) << "written beside the buffer"; }
  GuardedText(const GuardedText&) = delete;
  GuardedText& operator=(const GuardedText&) = delete;

  char* Get() { return buffer_.get(); }

  /// All of it, a terminator and what is behind it included.
  std::string Bytes() const {
    std::string bytes;
    for (std::size_t i = 0; i < size_; ++i) bytes += buffer_[i];
    return bytes;
  }

  /// Up to the first terminator, or all of it.
  std::string Text() const { return Bytes().substr(0, Bytes().find('\0')); }

 private:
  std::size_t size_;
  GuardedBuffer<char> buffer_;
};

/// What a function writes into a path's buffer.
template <class Getter>
std::string PathOf(const Getter& getter) {
  GuardedText dest(260);
  getter(dest.Get());
  return dest.Text();
}

}  // namespace support
