#pragma once

#include <tillvane/export.h>
#include <tillvane/text/LStringLong.h>

/// A text of 16-bit units, somebody else's, to be had in other forms. Any thread.
class TILLVANE_API LUnicodeString {
 public:
  /// \param text terminated by a 0 unit, stays its owner's and outlives this; null for none
  explicit LUnicodeString(const unsigned short* text) : text_(text) {}

  /// Replaces `text`, as LCFString does: by UTF-8, which is empty when there is half a surrogate pair, or by units, one
  /// by one. Empty without a text.
  void GetString(LStringLongTemplate<char>& text) const;
  void GetString(LStringLongTemplate<wchar_t>& text) const;

 private:
  const unsigned short* text_;
};

static_assert(sizeof(LUnicodeString) == sizeof(void*));
