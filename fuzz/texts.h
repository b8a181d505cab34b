#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace fuzz {

/// Bytes on the heap, exactly so many, so that AddressSanitizer sees one that is read or written beside them.
class Buffer {
 public:
  explicit Buffer(std::size_t size) : size_(size), bytes_(new char[size]) { std::fill_n(bytes_.get(), size, '#'); }
  /// The bytes alone: for what is not read to a terminator.
  static Buffer Unterminated(const std::string& bytes) {
    Buffer buffer(bytes.size());
    std::copy(bytes.begin(), bytes.end(), buffer.Get());
    return buffer;
  }
  /// The text and its terminator.
  explicit Buffer(const std::string& text) : Buffer(text.size() + 1) {
    std::copy_n(text.c_str(), text.size() + 1, bytes_.get());
  }

  char* Get() { return bytes_.get(); }
  const char* Get() const { return bytes_.get(); }
  std::string Bytes() const { return {bytes_.get(), size_}; }

 private:
  std::size_t size_;
  std::unique_ptr<char[]> bytes_;
};

/// What a target makes of its input: numbers of a byte, texts that end with a NUL.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : bytes_(reinterpret_cast<const char*>(data), size) {}

  /// 0 at the end of the input.
  unsigned int Number() { return at_ < bytes_.size() ? static_cast<unsigned char>(bytes_[at_++]) : 0; }

  bool HasMore() const { return at_ < bytes_.size(); }

  /// So many bytes, fewer at the end of the input.
  std::string Bytes(std::size_t count) {
    const std::string bytes = bytes_.substr(std::min(at_, bytes_.size()), count);
    at_ += bytes.size();
    return bytes;
  }

  std::string Text() {
    const std::size_t begin = std::min(at_, bytes_.size()), end = std::min(bytes_.find('\0', begin), bytes_.size());
    at_ = end + 1;
    return bytes_.substr(begin, end - begin);
  }

  /// All that is left, with its NULs.
  std::string Rest() const { return bytes_.substr(std::min(at_, bytes_.size())); }

 private:
  std::string bytes_;
  std::size_t at_ = 0;
};

}  // namespace fuzz
