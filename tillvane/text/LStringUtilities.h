#pragma once

#include <tillvane/export.h>

/// \file
/// Small things that one does with text and numbers. Texts are terminated and not null. Any thread, unless a function
/// says otherwise; a text may be changed by one at a time.

/// \name Measuring and comparing
/// @{

/// Counts units.
/// \return 16-bit units before the 0 unit
TILLVANE_API unsigned long lstrlen(const unsigned short* text);

/// Do two texts agree as far as both of them go? The shorter one decides how much is compared, so an empty text agrees
/// with every text: this is no order.
/// \return 0 when they agree, -1 when not
TILLVANE_API int wstrcmp(const wchar_t* a, const wchar_t* b);

/// Compares the end of a text with a suffix.
/// \return 0 when the text ends with it; -1 when the suffix is the longer of the two; else what `strcmp` says of the
///   text's last characters and the suffix
TILLVANE_API int tstrcmpend(const char* text, const char* suffix);
/// @}

/// \name Changing in place
/// @{

/// Upper case, byte by byte, as the C library's `toupper` has it in the current locale: in UTF-8 only ASCII letters
/// change.
/// \return the text
TILLVANE_API char* strupr(char* text);
/// Lower case, byte by byte, as the C library's `tolower` has it in the current locale.
/// \return the text
TILLVANE_API char* strlwr(char* text);

/// Replaces every `from` by `to`. A `from` of 0 replaces nothing; with a `to` of 0 the text becomes several, one behind
/// the other. For `char`.
/// \return the text
template <class C>
C* LStringReplaceChar(C* text, C from, C to);

/// \cond instantiations
extern template TILLVANE_API char* LStringReplaceChar(char*, char, char);
/// \endcond
/// @}

/// \name Numbers
/// @{

/// The value of the hexadecimal digits (0-9, a-f, A-F) that a text begins with. No prefix, sign or blank is taken:
/// "0x1F" is 0. Of more than eight digits the last eight count.
TILLVANE_API unsigned int atoh(const char* text);
/// The same as atoh().
TILLVANE_API unsigned int wtoh(const wchar_t* text);

/// Reverses the order of the bytes.
TILLVANE_API void LEndianReverse(unsigned short& value);
/// Reverses the order of the bytes.
TILLVANE_API void LEndianReverse(unsigned int& value);
/// Reverses the order of the bytes.
TILLVANE_API void LEndianReverse(unsigned long long& value);
/// @}

/// \name Random text
/// @{

/// Seeds the C library's `rand` by the time of day. As with `srand`, one thread at a time.
TILLVANE_API void randomize();

/// Writes `length` random letters a-z and a terminator: `out` has room for `length` + 1. Calls randomize() first.
///
/// As with `rand`, one thread at a time. Not for secrets: `rand` is seeded by the clock, so that who knows about when
/// it was called can try all there are.
/// \return `out`
TILLVANE_API char* LStringGenerateRandomPassword(char* out, unsigned long length);
/// @}
