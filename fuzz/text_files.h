#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include <tillvane/text/LStringLong.h>

namespace fuzz {

/// A file in memory, which has a path and may be opened like any other.
class MemoryFile {
 public:
  explicit MemoryFile(const std::string& bytes = "") : descriptor_(memfd_create("fuzz", MFD_CLOEXEC)) {
    if (descriptor_ < 0 || write(descriptor_, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
      abort();
    path_ = "/proc/self/fd/" + std::to_string(descriptor_);
  }
  ~MemoryFile() { close(descriptor_); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  int Descriptor() const { return descriptor_; }
  const char* Path() const { return path_.c_str(); }

  std::string Bytes() const {
    std::string bytes(static_cast<std::size_t>(lseek(descriptor_, 0, SEEK_END)), '\0');
    if (pread(descriptor_, bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) abort();
    return bytes;
  }

 private:
  int descriptor_;
  std::string path_;
};

inline std::string BytesOf(const LStringLong& text) { return {text.c_str(), text.size()}; }

/// UTF-16 as UTF-8, up to a unit of 0, each unit for itself; half a unit at the end counts when `with_half` is set.
inline std::string FromUnits(const std::string& bytes, bool high_first, bool with_half) {
  std::string text;
  for (std::size_t i = 0; i + (with_half ? 0 : 1) < bytes.size(); i += 2) {
    const unsigned int first = static_cast<unsigned char>(bytes[i]);
    const unsigned int second = i + 1 < bytes.size() ? static_cast<unsigned char>(bytes[i + 1]) : 0;
    const unsigned int unit = high_first ? first << 8 | second : second << 8 | first;
    if (unit == 0) break;
    if (unit < 0x80) {
      text += static_cast<char>(unit);
    } else if (unit < 0x800) {
      text += {static_cast<char>(0xC0 | unit >> 6), static_cast<char>(0x80 | (unit & 0x3F))};
    } else {
      text += {static_cast<char>(0xE0 | unit >> 12), static_cast<char>(0x80 | (unit >> 6 & 0x3F)),
               static_cast<char>(0x80 | (unit & 0x3F))};
    }
  }
  return text;
}

/// Loads bytes as a file of theirs, into a text that was used before.
template <class Check>
int CheckLoader(int (*load)(const char*, LStringLong&), const std::uint8_t* data, std::size_t size, Check check) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  const MemoryFile file(bytes);
  for (const unsigned long room : {0UL, 7UL, 4096UL}) {
    LStringLong text;
    if (room > 0) text.GrowToSize(room);
    if (load(file.Path(), text) != 1) abort();
    check(bytes, text);
  }
  return 0;
}

}  // namespace fuzz
