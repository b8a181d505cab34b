#pragma once

#include <tillvane/export.h>

/// \file
/// Growable text.

/// Growable text: units of one width and a terminating 0 unit. It owns its buffer. Not synchronised.
///
/// It is made for `char` (UTF-8 or 8-bit text), `wchar_t` (32-bit code points) and `unsigned short` (UTF-16 units).
/// Sizes are in units. An allocation that fails throws std::bad_alloc and leaves the text as it was.
template <class T>
class TILLVANE_API LStringLongTemplate {
 public:
  /// Numbers that other parts of the toolkit know.
  enum : unsigned int {
    kFormattedSize = 260  ///< The capacity that formatted output begins with.
  };

  /// An empty text without a buffer.
  LStringLongTemplate() = default;
  /// Takes the buffer of `other` over, which is an empty text without one afterwards.
  LStringLongTemplate(LStringLongTemplate&& other) noexcept;
  /// Exchanges the two texts.
  LStringLongTemplate& operator=(LStringLongTemplate&& other) noexcept;
  LStringLongTemplate(const LStringLongTemplate&) = delete;
  LStringLongTemplate& operator=(const LStringLongTemplate&) = delete;
  ~LStringLongTemplate();

  /// Never null: an empty text where there is no buffer. Valid until the text is changed.
  const T* c_str() const;
  /// Units in use, without the terminator.
  unsigned int size() const { return length_; }
  /// Units allocated, with room for the terminator.
  unsigned int capacity() const { return capacity_; }
  /// The buffer, `capacity()` units of it, to be written by whoever then says how much is in use: SetLength(). Null
  /// where there is none. Valid until the text grows or is assigned.
  T* data() { return buffer_; }

  /// Says how many units are in use, and terminates the text there: at most `capacity()` - 1, no more count. Without a
  /// buffer it does nothing.
  void SetLength(unsigned long length);

  /// Makes room for `size` units, the terminator included: exactly so many, and never fewer than there are.
  void GrowToSize(unsigned long size);

  /// Appends a text, not null, which may be part of this one. Grows to the exact size. Only for `char`.
  /// \return the buffer
  T* Append(const T* text);

  /// Replaces the text by a copy, in a buffer of exactly its size. It is not null and may be part of this one. Only for
  /// `char`.
  LStringLongTemplate& operator=(const T* text);

 private:
  friend struct LStringLongLayout;
  template <class U>
  friend class LStringLongTemplateAppender;

  /// Appends as formatted output does: where it does not fit the capacity is multiplied by four until it does.
  void WriteUnits(const T* units, unsigned long count);
  T* GrowFourfold(unsigned long count);
  void AppendUnits(const T* units, unsigned long count);
  void AppendInNewBuffer(const T* units, unsigned long count);

  T* buffer_ = nullptr;
  unsigned int length_ = 0;
  unsigned int capacity_ = 0;
};

// Only `char` has these two. They are not constrained: newer compilers write that into the exported names.
/// \cond instantiations
template <>
TILLVANE_API char* LStringLongTemplate<char>::Append(const char* text);
template <>
TILLVANE_API LStringLongTemplate<char>& LStringLongTemplate<char>::operator=(const char* text);

extern template class LStringLongTemplate<char>;
extern template class LStringLongTemplate<wchar_t>;
extern template class LStringLongTemplate<unsigned short>;
/// \endcond

/// UTF-8, or 8-bit text.
using LStringLong = LStringLongTemplate<char>;
