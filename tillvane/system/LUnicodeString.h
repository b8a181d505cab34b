#pragma once

#include <tillvane/export.h>
#include <tillvane/text/LStringLong.h>

/// \file
/// Texts of 16-bit units in other forms.

/// A text of 16-bit units, somebody else's, to be had in other forms. Any thread.
class TILLVANE_API LUnicodeString {
 public:
  /// Refers to a text.
  /// \param text terminated by a 0 unit, stays its owner's and outlives this; null for none
  explicit LUnicodeString(const unsigned short* text) : text_(text) {}

  /// Replaces `text` by UTF-8, as LCFString does: it is empty when there is half a surrogate pair, and without a text.
  void GetString(LStringLongTemplate<char>& text) const;
  /// Replaces `text` by the units, one by one. Empty without a text.
  void GetString(LStringLongTemplate<wchar_t>& text) const;

 private:
  const unsigned short* text_;
};

static_assert(sizeof(LUnicodeString) == sizeof(void*));
