#pragma once

#include <tillvane/export.h>

/// \file
/// Pieces of a text that stand between marks or before one. Any thread.

/// Copies what stands between the first `startMarker` and the next `endMarker`, or the end of the text where there is
/// none, cut to `outSize` - 1 characters. The result is always terminated; size 0 writes nothing. `out` may be `text`.
/// An empty `startMarker` stands at the beginning, an empty `endMarker` directly behind the start. A null text or
/// `startMarker` is not found, a null `endMarker` is the end of the text.
/// \return whether there is such a `startMarker`; if not, `out` is empty
TILLVANE_API bool LStringFindTextField(const char* text, const char* startMarker, const char* endMarker, char* out,
                                       unsigned long outSize);

/// The same as LStringFindTextField(), for `char`.
template <class C>
bool LStringFindTextFieldTemplate(const C* text, const C* startMarker, const C* endMarker, C* out,
                                  unsigned long outSize);

/// Copies a text up to the first character that is one of `stopChars`, or to its end. At most 259 characters are
/// stored, and a terminator: `out` has room for 260. `out` may be `text`. A null text is empty, null `stopChars` are
/// none. For `char`.
/// \return characters before the stop, also those that were not stored
template <class C>
unsigned long LParseGetToCharacters(const C* text, const C* stopChars, C* out);

/// \cond instantiations
extern template TILLVANE_API bool LStringFindTextFieldTemplate(const char*, const char*, const char*, char*,
                                                               unsigned long);
extern template TILLVANE_API unsigned long LParseGetToCharacters(const char*, const char*, char*);
/// \endcond
