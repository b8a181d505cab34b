#pragma once

#include <sys/types.h>

#include <cstddef>

namespace text {

/// A file that a loader or a saver has opened, under its lock if that could be had in time; closed with this.
class TextFile {
 public:
  static TextFile ToRead(const char* path);
  /// Made with mode 0666 where there is none; what is in it stays.
  static TextFile ToWrite(const char* path);
  ~TextFile();
  TextFile(const TextFile&) = delete;
  TextFile& operator=(const TextFile&) = delete;

  /// When it is not open, errno says why.
  bool IsOpen() const { return descriptor_ >= 0; }

  /// Its length; 0 when the system does not tell, or when 32 bits do not hold it.
  unsigned int Size() const;

  /// Fills a buffer with one read; what that leaves is bytes of 0.
  void Read(void* buffer, std::size_t size) const;

  void Truncate() const;
  void SeekEnd() const;

  /// Writes all, in as many calls as it takes; what comes after an error is lost.
  void Write(const void* bytes, std::size_t size) const;

  /// Closes it before its end. \return what `close` answers
  int Close();

 private:
  TextFile(const char* path, int flags, int lock, unsigned int ms);

  int descriptor_;
};

}  // namespace text
