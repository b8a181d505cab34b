#pragma once

#include <tillvane/export.h>

/// \file
/// Writing to a file that somebody else has opened.

/// Writes to an open file that stays its owner's: it holds the descriptor, opens nothing and closes nothing. Passed by
/// value.
///
/// Without a descriptor (-1) nothing is written and the system is not asked. A text is UTF-8, terminated, not null, and
/// goes out without its terminator. Each piece is one call of the system and is not tried again, neither when a signal
/// interrupts it nor when it writes less; errno is then the system's. Used by one thread at a time.
class TILLVANE_API LWriteFileRef {
 public:
  /// Writes where the descriptor stands.
  /// \param descriptor of the open file, which stays its owner's and outlives this; -1 for none
  explicit LWriteFileRef(int descriptor = -1) : descriptor_(descriptor) {}

  /// The owner's descriptor; -1 for none.
  int Descriptor() const { return descriptor_; }

  /// Writes a text.
  /// \return 1 if every byte was written; without a descriptor only for an empty text
  int WriteString(const char* text);
  /// The same as WriteString().
  int WriteStringUTF8(const char* text);

  /// Writes a text behind its length in bytes, for LReadFileRef::ReadStringLenUTF8(): up to 254 one byte, else a byte
  /// 0xFF and four bytes, the lowest first. Texts follow one another directly. Length and text are two pieces, or
  /// three.
  /// \return bytes of the text written, -1 after an error or without a descriptor
  long WriteStringLenUTF8(const char* text);

  /// Writes a text and a line feed, two pieces.
  /// \return bytes of the line's end written, -1 after an error or without a descriptor
  long WriteLineLF(const char* text);
  /// The same with a carriage return and a line feed.
  long WriteLineCRLF(const char* text);

 private:
  friend struct LWriteFileRefLayout;

  int descriptor_;
};

/// Writes formatted text in one piece. The grammar is the toolkit's own (LStringFormat.h); a format that is null writes
/// nothing. Without memory it throws std::bad_alloc and nothing is written.
/// \return the length of the text, written or not
TILLVANE_API unsigned long fprintf(LWriteFileRef file, const char* format, ...);
