#pragma once

#include <tillvane/export.h>
#include <tillvane/text/LStringLong.h>

/// \file
/// UTF-8 measured and cut by characters, and its conversions from and to other forms of text:
///
///     UTF32    wchar_t: 32-bit code points; also called Native
///     Unicode  unsigned short: 16-bit units, each for itself; a pair of surrogates is two of them, no character
///     Ansi     8-bit Western text: read as Windows-1252, written as ISO-8859-1
///
/// and by iconv the code pages that the last functions name.
///
/// Texts end with a 0 unit and are not null. A `size` is what the destination can hold, its terminator included, in
/// units of the destination: nothing is ever written beyond it, and a size of 0 writes nothing unless a function says
/// otherwise. Source and destination must not overlap, unless a function says otherwise. Nothing here fails but by a
/// shorter or an empty text, or by the answers that are named; where memory is allocated std::bad_alloc may leave. Any
/// thread.

/// \name UTF-8 by its characters
///
/// Bytes are taken in sequences whose length the first byte says: one byte below 0xC0 (also a continuation byte that
/// stands alone), 2 from 0xC0, 3 from 0xE0, 4 from 0xF0, 5 from 0xF8, 6 from 0xFC. What follows it is not looked at,
/// but a sequence never goes on behind the terminator.
/// @{

/// Counts characters.
/// \return characters before the terminator
TILLVANE_API unsigned long utf8strlen(const char* text);

/// Copies as many whole characters as fit, and a terminator, which is written for a size of 0 too.
/// \return bytes copied, without the terminator
TILLVANE_API unsigned long utf8strlcpy(char* dst, const char* src, unsigned long size);

/// From characters to bytes.
/// \return where character number `charIndex` begins, counted in bytes; the length of a text that has fewer
TILLVANE_API unsigned long LCharsetsUTF8CharIndexToByteIndex(const char* text, unsigned long charIndex);

/// From bytes to characters.
/// \return characters that begin in the first `byteIndex` bytes; one that is cut there counts
TILLVANE_API unsigned long LCharsetsUTF8ByteIndexToCharIndex(const char* text, unsigned long byteIndex);
/// @}

/// A C string where there is a growable text, which may have no buffer: an empty one then. Valid as long as the buffer.
class TILLVANE_API LUTF8StringLongRef {
 public:
  /// The text's buffer as it is now, or an empty text.
  LUTF8StringLongRef(const LStringLong& text) : text_(text.c_str()) {}
  /// The C string, never null.
  operator const char*() const { return text_; }

 private:
  const char* text_;
};

/// An empty text, for where there is none.
extern TILLVANE_API const unsigned short szEmptyStringUTF16[1];

/// \name UTF-8 and code points
/// @{

/// Converts up to the first sequence that is not UTF-8. The bound counts bytes of the *source*: sequences are taken as
/// long as they are shorter than `size` altogether, so that `size` code points are always enough and a text of
/// characters of three bytes fills a third of them. A size of 0 answers 0 for an empty source, else 1.
/// \return 0: all of it; 1: the bound was reached; 2: what follows is not UTF-8 (stray and missing continuation bytes,
///   longer forms than needed, surrogates, beyond U+10FFFF). The text is terminated in any case but a size of 0
TILLVANE_API int LCopyUTF32FromUTF8Native(wchar_t* dst, const char* src, unsigned long size);

/// Converts code points. Surrogates are written as they are; U+FFFD stands for what is above U+10FFFF; a negative value
/// gives one byte, its low 8 bits.
/// \return 0: all of it; 1: the next character did not fit and the text ends before it; 2: all of it, with U+FFFD
TILLVANE_API int LCopyUTF8FromUTF32Native(char* dst, const wchar_t* src, unsigned long size);

/// The same as LCopyUTF32FromUTF8Native.
TILLVANE_API int LCopyUTF32FromUTF8(wchar_t* dst, const char* src, unsigned long size);
/// The same as LCopyUTF8FromUTF32Native.
TILLVANE_API int LCopyUTF8FromUTF32(char* dst, const wchar_t* src, unsigned long size);

/// @}

/// \name 16-bit units
/// @{

/// Widens units to code points: at most `size` - 1, then 0.
TILLVANE_API void LCopyUTF32FromUnicode(wchar_t* dst, const unsigned short* src, unsigned long size);

/// Cuts code points to their low 16 bits: at most `size` - 1, then 0.
TILLVANE_API void LCopyUnicodeFromUTF32(unsigned short* dst, const wchar_t* src, unsigned long size);

/// Converts units, each half of a surrogate pair to three bytes of its own, as many as fit; writes 0 at dst[size - 1]
/// too.
TILLVANE_API void LCopyUTF8FromUnicode(char* dst, const unsigned short* src, unsigned long size);

/// Converts as LCopyUTF32FromUTF8Native does, with the same bound in bytes of the source and up to what is not UTF-8,
/// and cuts the code points to their low 16 bits.
TILLVANE_API void LCopyUnicodeFromUTF8(unsigned short* dst, const char* src, unsigned long size);

/// With a size of 260: `dst` has room for so many, and dst[259] is written.
TILLVANE_API void LCopyUTF8FromUnicode(char* dst, const unsigned short* src);
/// With a size of 260.
TILLVANE_API void LCopyUnicodeFromUTF8(unsigned short* dst, const char* src);

/// Replaces a text by the whole source, up to its terminator. The target grows to what the result needs.
/// \return the new length
TILLVANE_API unsigned long LCopyUTF8FromUnicode(LStringLong& target, const LStringLongTemplate<unsigned short>& source);

/// Replaces a text by the whole source, up to its terminator or to what is not UTF-8. The target grows to the source's
/// bytes + 1.
/// \return the new length, up to the first 0 unit: a code point with 16 low bits of 0 makes one
TILLVANE_API unsigned long LCopyUnicodeFromUTF8(LStringLongTemplate<unsigned short>& target, const LStringLong& source);

/// Writes the whole source into a text's buffer, which grows to six bytes a unit + 1. The text's length is 0
/// afterwards: take the result as a C string, and do not append.
TILLVANE_API void LCopyFromUnicode(LStringLong& target, const unsigned short* source);

/// Copies units, at most `count`, up to a 0 unit, as big-endian ones.
/// \param dst receives the units
/// \param src the units, in the processor's order
/// \param count how many to copy at most
/// \param terminate a 0 unit follows: `dst` has room for `count` + 1. Else spaces fill up `count` units
/// \return units copied when it is terminated, else `count`
TILLVANE_API unsigned long LCopyToBigEndianUnicode(unsigned short* dst, const unsigned short* src, unsigned long count,
                                                   bool terminate);

/// @}

/// \name Ansi
///
/// To ISO-8859-1 is all or nothing: the result is an empty text when there is a character that ISO-8859-1 lacks (so
/// what came from the bytes 0x80 to 0x9F of Windows-1252 can mostly not be written back).
/// @{

/// Windows-1252 to UTF-8. The result is an empty text unless the source and a terminator are at most `size` bytes of
/// 16-bit units. What then does not fit as UTF-8 is cut, and 0 is written at dst[size - 1] too.
TILLVANE_API void LCopyUTF8FromAnsi(char* dst, const char* src, unsigned long size);

/// UTF-8 to ISO-8859-1. The source is read as LCopyUnicodeFromUTF8 reads it, with the same bound: what lies behind
/// it is not looked at.
TILLVANE_API void LCopyAnsiFromUTF8(char* dst, const char* src, unsigned long size);

/// Units to ISO-8859-1, the whole source up to its terminator. The target grows to the source's units + 1.
/// \return the new length
TILLVANE_API unsigned long LCopyAnsiFromUnicode(LStringLong& target, const LStringLongTemplate<unsigned short>& source);

/// Windows-1252 to units, the whole source up to its terminator. The target grows to the source's bytes + 1.
/// \return the new length
TILLVANE_API unsigned long LCopyUnicodeFromAnsi(LStringLongTemplate<unsigned short>& target, const LStringLong& source);

/// @}

/// \name Code pages, by iconv
///
/// A conversion ends at the first character that is wrong, or that the target lacks, and keeps what came before. A
/// result that fills `dst` to its last byte is **not terminated**: give it more room than the text. Windows-1252 means
/// ISO-8859-1 here.
/// @{

/// Converts between the encodings that iconv knows by these names; an unknown name gives an empty text. For `char`.
template <class To, class From>
void LCopyIconvFixedLength(To* dst, const From* src, unsigned long size, const char* tocode, const char* fromcode);
/// With a size of the source's length + 1, whatever the result needs. **No terminator is written but the source's
/// own**: a conversion that ends early, or fills the size, leaves the text without one. The sized form is the one to
/// use.
template <class To, class From>
void LCopyIconvFixedLength(To* dst, const From* src, const char* tocode, const char* fromcode);

/// \cond instantiations
extern template TILLVANE_API void LCopyIconvFixedLength<char, char>(char*, const char*, unsigned long, const char*,
                                                                    const char*);
extern template TILLVANE_API void LCopyIconvFixedLength<char, char>(char*, const char*, const char*, const char*);
/// \endcond

/// The same as LCopyToISO88591().
TILLVANE_API void LCopyToWIN1252(char* dst, const char* src, unsigned long size);
/// The same as LCopyFromISO88591().
TILLVANE_API void LCopyFromWIN1252(char* dst, const char* src, unsigned long size);
/// UTF-8 to ISO-8859-1.
TILLVANE_API void LCopyToISO88591(char* dst, const char* src, unsigned long size);
/// ISO-8859-1 to UTF-8.
TILLVANE_API void LCopyFromISO88591(char* dst, const char* src, unsigned long size);

/// UTF-8 to ISO-8859-1 with a size of the source's length + 1. **Not terminated when the conversion ends early.**
TILLVANE_API void LCopyToISO88591(char* dst, const char* src);
/// ISO-8859-1 to UTF-8 with a size of the source's length + 1: each character beyond ASCII takes one byte more than it
/// had, and with the first of them the text is **not terminated**.
TILLVANE_API void LCopyFromISO88591(char* dst, const char* src);

/// Copies the bytes as they are, at most `size` - 1 and a terminator: nothing is converted.
/// \return the length of the source
TILLVANE_API unsigned long LCopyToEUCKR(char* dst, const char* src, unsigned long size);
/// The same as LCopyToEUCKR().
TILLVANE_API unsigned long LCopyFromEUCKR(char* dst, const char* src, unsigned long size);
/// The same as LCopyToEUCKR().
TILLVANE_API unsigned long LCopyToSHIFTJIS932(char* dst, const char* src, unsigned long size);
/// The same as LCopyToEUCKR().
TILLVANE_API unsigned long LCopyFromSHIFTJIS932(char* dst, const char* src, unsigned long size);
/// @}

/// \name Code pages, into a text's buffer
///
/// It grows to the source's length + 1, or to six times that length + 1 for those to UTF-8, so that all fits. The
/// text's length stays what it was: take the result as a C string, and do not append. The source may be the text's own.
/// @{

/// The same as LCopyToISO88591().
TILLVANE_API void LCopyToWIN1252(LStringLong& target, const char* src);
/// The same as LCopyFromISO88591().
TILLVANE_API void LCopyFromWIN1252(LStringLong& target, const char* src);
/// UTF-8 to ISO-8859-1.
TILLVANE_API void LCopyToISO88591(LStringLong& target, const char* src);
/// ISO-8859-1 to UTF-8.
TILLVANE_API void LCopyFromISO88591(LStringLong& target, const char* src);
/// Copies the bytes as they are.
/// \return the length of the source
TILLVANE_API unsigned long LCopyToEUCKR(LStringLong& target, const char* src);
/// Copies the bytes as they are, in six times the room.
/// \return the length of the source
TILLVANE_API unsigned long LCopyFromEUCKR(LStringLong& target, const char* src);
/// The same as LCopyToEUCKR().
TILLVANE_API unsigned long LCopyToSHIFTJIS932(LStringLong& target, const char* src);
/// The same as LCopyFromEUCKR().
TILLVANE_API unsigned long LCopyFromSHIFTJIS932(LStringLong& target, const char* src);
/// @}
