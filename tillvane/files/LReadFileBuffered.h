#pragma once

#include <tillvane/export.h>

/// \file
/// Reading, through a buffer, from a file that somebody else has opened.

/// Reads from an open file through a buffer of 8192 bytes, looks ahead and seeks. The file stays its owner's: nothing
/// is opened or closed.
///
/// The descriptor's offset stands behind the bytes in the buffer; whoever moves it otherwise has to Seek() before the
/// next read. Without a descriptor (-1) nothing is read and the system is not asked. Failures are told by the results
/// only; errno is then the system's. Used by one thread at a time. The buffer goes with the descriptor: another file
/// takes another object.
class TILLVANE_API LReadFileBuffered {
 public:
  /// Reads where the descriptor stands; the buffer is empty.
  /// \param descriptor of the open file, which stays its owner's and outlives this; -1 for none
  explicit LReadFileBuffered(int descriptor = -1) : descriptor_(descriptor) {}
  LReadFileBuffered(const LReadFileBuffered&) = delete;
  LReadFileBuffered& operator=(const LReadFileBuffered&) = delete;

  /// The owner's descriptor; -1 for none.
  int Descriptor() const { return descriptor_; }

  /// Reads `size` bytes, or what there is. What is left of 257 bytes or more when the buffer is empty comes from a
  /// single call of the system, which may give less than there will be. \return bytes delivered
  unsigned long Read(void* buffer, unsigned long size);

  /// Reads, but the bytes remain to be read, which takes a file that can seek: of a pipe, only what fits into an empty
  /// buffer remains.
  /// \return bytes delivered
  unsigned long Peek(void* buffer, unsigned long size);

  /// Reads a line without its end, which is one of LF, CR and CR LF. LF CR is two ends, unlike for LReadFileRef. A line
  /// that does not fit is cut, but read to its end. A line may hold NULs.
  /// \param buffer receives the line and a terminator
  /// \param size of the buffer, with the terminator; 0 stores nothing
  /// \return 1 if a line was read, also the last one without an end and one cut short by an error; 0 if there is none
  int ReadLine(char* buffer, unsigned long size);

  /// Seek64() to a position that 32 bits hold.
  long long Seek(unsigned int position);
  /// Goes to a position, in bytes from the beginning of the file. What is in the buffer is dropped, also when this
  /// fails. \return the new position, or -1
  long long Seek64(unsigned long long position);
  /// Goes by a number of bytes from where the next read would begin; below 0 it goes back. What is in the buffer is
  /// dropped, also when this fails.
  /// \return the new position, or -1
  long long SeekOffset64(long long delta);

  /// Where the next read begins. Where the system does not tell the descriptor's offset, that counts as 0, so that the
  /// answer is below 0 while there are bytes in the buffer.
  long long Tell64() const;

  /// The file's size now; 0 where the system does not tell.
  unsigned long long GetFileSizeBytes64() const;

 private:
  friend struct LReadFileBufferedLayout;

  enum : unsigned int { kBufferSize = 8192 };

  unsigned int Held() const { return count_ - position_; }
  bool Refill();
  unsigned int TakeHeld(char* to, unsigned long size);
  long long SeekTo(long long offset, int from);

  int descriptor_;
  char buffer_[kBufferSize];
  unsigned int position_ = 0;
  unsigned int count_ = 0;
};
