#pragma once

#include <tillvane/export.h>
#include <tillvane/platform/native_types.h>
#include <tillvane/text/LStringLong.h>

/// \file
/// Texts of the system's own kind.

/// A text of the system's own kind, or none. It owns one reference. Not synchronised.
///
/// A text that has half a surrogate pair cannot be written as UTF-8: its UTF-8 is empty. As `wchar_t` each unit of a
/// pair is one of the result, as it is.
class TILLVANE_API LCFString {
 public:
  /// No text.
  LCFString() = default;
  /// Takes a reference over; null is no text.
  explicit LCFString(CFStringRef string) : string_(string) {}
  ~LCFString();
  LCFString(const LCFString&) = delete;
  LCFString& operator=(const LCFString&) = delete;

  /// Replaces the text. What is not UTF-8 is read as LCopyUnicodeFromUTF8 reads it: up to the first sequence that is
  /// wrong, and of each character the low 16 bits; so that a malformed text is a text all the same.
  /// \param text terminated; null for none
  void SetString(const char* text);

  /// Replaces `text` by UTF-8, in room for six bytes a unit and a terminator. Empty without a text.
  void GetString(LStringLongTemplate<char>& text) const;

  /// Writes UTF-8, as many whole characters as fit, and a terminator. A capacity of 0 writes nothing.
  void GetString(char* dest, unsigned long capacity) const;

  /// Replaces `text` by units, one by one. Empty without a text.
  void GetString(LStringLongTemplate<wchar_t>& text) const;

  /// Writes units, as many as fit, and a terminator. A capacity of 0 writes nothing.
  void GetString(wchar_t* dest, unsigned long capacity) const;

  /// The text, which stays this object's own and is valid until it is replaced; null for none.
  CFStringRef Get() const { return string_; }

 private:
  void Release();

  CFStringRef string_ = nullptr;
};

static_assert(sizeof(LCFString) == sizeof(void*));
