#pragma once

#include <cstdarg>
#include <cstdio>

#include <tillvane/export.h>
#include <tillvane/text/LStringLong.h>

// Where the C library has a macro of this name it would hide the overloads below.
#undef sprintf

/// \file
/// Formatted text by the toolkit's own engine, into a buffer of the caller's or into a growable text.
///
/// The engine knows a part of printf on purpose, on every system the same:
///
///     literal        everything but '%' stands for itself
///     conversion     '%', then any number of digits and '.', then one conversion letter
///     s              a text; null writes nothing. Width and precision do not count: the whole text as it is
///     %              one '%', no argument
///     e f g          a double
///     p              a pointer
///     d i u x X o c  an int (D U O are d u o; C is the C library's wide character in the locale's character set)
///
/// Nothing else is known. A flag (one of - + # ' or a space), '*', '$' or a length letter (one of h l q j z t L) is
/// itself taken for the conversion letter: it takes an int and writes nothing, and what follows is literal text. The
/// same holds for E, F, G, A, a, S and n. Any other character takes an int and writes itself, padded as c is. So a
/// `long` or a `double` where an int is taken is as wrong as it is for the C library.
///
/// Numbers look as the C library writes them, with the locale's decimal point; one conversion gives at most 259
/// characters, more are cut. A `%` at the very end of a format, also with digits, writes nothing.
///
/// A format is not checked against its arguments. Neither of them may lie in the text that is written to. A format that
/// is null writes nothing. Without memory std::bad_alloc is thrown and the text holds what was written until then. Any
/// thread; a text may be used by one at a time.

/// A writer over a buffer of the caller's. What does not fit is dropped without a word; no terminator is written.
template <class T>
struct LFixedLengthStringWriterTemplate {
  T* buffer;              ///< Where the first unit goes: the caller's, with room for `capacity` units.
  unsigned int length;    ///< Written so far.
  unsigned int capacity;  ///< The most that may be written; room for a terminator is the caller's to keep, beside it.
};

/// A writer at the end of a text, which grows fourfold whenever it is full. The text is terminated when the writer
/// ends, also while an exception passes.
template <class T>
class TILLVANE_API LStringLongTemplateAppender {
 public:
  /// Writes behind what the text has, which outlives this.
  explicit LStringLongTemplateAppender(LStringLongTemplate<T>& text) : text_(text) {}
  /// Terminates the text.
  ~LStringLongTemplateAppender() { Terminate(); }
  LStringLongTemplateAppender(const LStringLongTemplateAppender&) = delete;
  LStringLongTemplateAppender& operator=(const LStringLongTemplateAppender&) = delete;

  /// Writes units that do not lie in the text. Without memory it throws std::bad_alloc.
  void Write(const T* units, unsigned long count) { text_.WriteUnits(units, count); }
  /// What is written to.
  LStringLongTemplate<T>& Text() const { return text_; }

 private:
  void Terminate() {
    if (text_.buffer_ != nullptr) text_.buffer_[text_.length_] = 0;
  }

  LStringLongTemplate<T>& text_;
};

/// The writer for a text that is replaced: the caller empties it first.
template <class T>
class TILLVANE_API LStringLongTemplateWriter : public LStringLongTemplateAppender<T> {
 public:
  using LStringLongTemplateAppender<T>::LStringLongTemplateAppender;
};

/// Writes all of a text, which is not null, without a terminator. For the three writers of `char`.
template <class W, class C>
void tplstrcpy(W& writer, const C* text);

/// Formats. The arguments are used up as far as the format says; `va_end` is the caller's.
/// \return the length of what the writer writes to, with what was there before; 0 when `format` is null
template <class W, class C>
unsigned long tplprintf(W& writer, const C* format, va_list arguments);

/// Formats into `size` bytes at `buffer`, the terminator included: what does not fit is cut. Size 0 writes nothing.
/// \return characters stored, without the terminator
TILLVANE_API unsigned long tplsnprintf(char* buffer, unsigned long size, const char* format, ...);

/// Formats to the end of a text.
/// \return the length of the whole text; 0 when `format` is null
TILLVANE_API unsigned long tsprintfappend(LStringLongTemplate<char>& text, const char* format, ...);

/// Replaces a text by formatted text.
/// \return its length
TILLVANE_API unsigned long sprintf(LStringLongTemplate<char>& text, const char* format, ...);

/// Formats to where the writer stands. No terminator is written.
/// \return the writer's length
TILLVANE_API unsigned long sprintf(LFixedLengthStringWriterTemplate<char>& writer, const char* format, ...);

/// The C library's printf, with the C library's grammar.
/// \return characters written, negative when it failed
TILLVANE_API int tprintf(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// \cond instantiations
extern template TILLVANE_API void tplstrcpy(LFixedLengthStringWriterTemplate<char>&, const char*);
extern template TILLVANE_API void tplstrcpy(LStringLongTemplateAppender<char>&, const char*);
extern template TILLVANE_API void tplstrcpy(LStringLongTemplateWriter<char>&, const char*);
extern template TILLVANE_API unsigned long tplprintf(LFixedLengthStringWriterTemplate<char>&, const char*, va_list);
extern template TILLVANE_API unsigned long tplprintf(LStringLongTemplateAppender<char>&, const char*, va_list);
extern template TILLVANE_API unsigned long tplprintf(LStringLongTemplateWriter<char>&, const char*, va_list);
/// \endcond
