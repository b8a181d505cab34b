#pragma once

#include <tillvane/export.h>
#include <tillvane/text/LStringLong.h>

/// \file
/// Reading from a file that somebody else has opened.

/// Reads from an open file that stays its owner's: it holds the descriptor, opens nothing and closes nothing. Nothing
/// is kept between two calls, so that the descriptor's offset is always where the next call begins.
///
/// Without a descriptor (-1) nothing is read and the system is not asked. Failures are told by the results only; errno
/// is then the system's. Used by one thread at a time.
class TILLVANE_API LReadFileRef {
 public:
  /// Reads where the descriptor stands.
  /// \param descriptor of the open file, which stays its owner's and outlives this; -1 for none
  explicit LReadFileRef(int descriptor = -1) : descriptor_(descriptor) {}

  /// The owner's descriptor; -1 for none.
  int Descriptor() const { return descriptor_; }

  /// Reads once, and terminates what it got.
  /// \param buffer room for `length` + 1 bytes
  /// \param length how many bytes to read at most
  /// \return bytes read, 0 at the end of the file, -1 after an error or without a descriptor
  long ReadStringUTF8(char* buffer, unsigned long length);

  /// Reads a text that LWriteFileRef::WriteStringLenUTF8() has written. A longer one than 259 bytes is cut and the rest
  /// of it skipped, so that the next text is read next; skipping takes a file that can seek. A text that ends too early
  /// is what there is of it; where there is none it is empty.
  /// \param buffer 260 bytes
  void ReadStringLenUTF8(char* buffer);

  /// Reads a line without its end, which is one of LF, CR, CR LF and LF CR. A line that does not fit is cut, but read
  /// to its end. A line may hold NULs.
  ///
  /// What follows the line's end is looked at: a pipe, socket or terminal, which cannot take a byte back, loses it if
  /// it is no part of the end, and the call waits for it. LReadFileBuffered reads lines from these.
  /// \param buffer receives the line and a terminator
  /// \param size of the buffer, with the terminator; 0 stores nothing
  /// \return 1 if a line was read, also the last one without an end and one cut short by an error; 0 if there is none
  int ReadLine(char* buffer, unsigned long size);

  /// The same into a text, which holds all of the line: it grows fourfold from 260 characters. Without memory it throws
  /// std::bad_alloc.
  int ReadLine(LStringLongTemplate<char>& line);

 private:
  friend struct LReadFileRefLayout;

  int descriptor_;
};
