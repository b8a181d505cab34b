#pragma once

#include <tillvane/export.h>

/// Growable text: units of one width and a terminating 0 unit. It owns its buffer. Not synchronised.
///
/// It is made for `char` (UTF-8 or 8-bit text), `wchar_t` (32-bit code points) and `unsigned short` (UTF-16 units).
/// Sizes are in units. An allocation that fails throws std::bad_alloc and leaves the text as it was.
template <class T>
class LStringLongTemplate {
 public:
  /// An empty text without a buffer.
  LStringLongTemplate() = default;
  LStringLongTemplate(LStringLongTemplate&& other) noexcept;
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

  /// Makes room for `size` units, the terminator included: exactly so many, and never fewer than there are.
  void GrowToSize(unsigned long size);

  /// Appends a text, which may be part of this one. Grows to the exact size. Only for `char`.
  /// \return the buffer
  T* Append(const T* text) requires(sizeof(T) == 1);

  /// Replaces the text by a copy, in a buffer of exactly its size. It may be part of this one. Only for `char`.
  LStringLongTemplate& operator=(const T* text) requires(sizeof(T) == 1);

 private:
  friend struct LStringLongLayout;

  void AppendUnits(const T* units, unsigned long count);

  T* buffer_ = nullptr;
  unsigned int length_ = 0;
  unsigned int capacity_ = 0;
};

extern template class TILLVANE_API LStringLongTemplate<char>;
extern template class TILLVANE_API LStringLongTemplate<wchar_t>;
extern template class TILLVANE_API LStringLongTemplate<unsigned short>;

using LStringLong = LStringLongTemplate<char>;
