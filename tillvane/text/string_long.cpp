#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include <tillvane/text/LStringLong.h>
#include <tillvane/text/copy_short.h>

// The order and the widths of the fields are part of the binary interface.
struct LStringLongLayout {
  static_assert(offsetof(LStringLong, buffer_) == 0);
  static_assert(offsetof(LStringLong, length_) == sizeof(void*));
  static_assert(offsetof(LStringLong, capacity_) == sizeof(void*) + 4);
  static_assert(sizeof(LStringLong) == sizeof(void*) + 8);
};

namespace {

template <class T>
constexpr T kEmpty[1] = {};

// clang++ 14 makes what is only for `char` for the other widths too, where nobody can call it: it has to be good C++
// there.

/// A size that the 32-bit fields can hold.
unsigned int Fitting(unsigned long size) {
  if (size > std::numeric_limits<unsigned int>::max()) throw std::bad_alloc();
  return static_cast<unsigned int>(size);
}

}  // namespace

template <class T>
LStringLongTemplate<T>::LStringLongTemplate(LStringLongTemplate&& other) noexcept
    : buffer_(std::exchange(other.buffer_, nullptr)),
      length_(std::exchange(other.length_, 0)),
      capacity_(std::exchange(other.capacity_, 0)) {}

template <class T>
LStringLongTemplate<T>& LStringLongTemplate<T>::operator=(LStringLongTemplate&& other) noexcept {
  std::swap(buffer_, other.buffer_);
  std::swap(length_, other.length_);
  std::swap(capacity_, other.capacity_);
  return *this;
}

template <class T>
LStringLongTemplate<T>::~LStringLongTemplate() {
  delete[] buffer_;
}

template <class T>
const T* LStringLongTemplate<T>::c_str() const {
  return buffer_ != nullptr ? buffer_ : kEmpty<T>;
}

template <class T>
void LStringLongTemplate<T>::GrowToSize(unsigned long size) {
  if (capacity_ >= size) return;
  const unsigned int fitting = Fitting(size);
  auto grown = std::make_unique_for_overwrite<T[]>(fitting);
  std::copy_n(c_str(), length_, grown.get());
  grown[length_] = 0;
  delete[] std::exchange(buffer_, grown.release());
  capacity_ = fitting;
}

template <class T>
void LStringLongTemplate<T>::SetLength(unsigned long length) {
  if (buffer_ == nullptr) return;
  length_ = static_cast<unsigned int>(std::min(length, static_cast<unsigned long>(capacity_) - 1));
  buffer_[length_] = 0;
}

template <class T>
void LStringLongTemplate<T>::WriteUnits(const T* units, unsigned long count) {
  T* const end = length_ + count < capacity_ ? buffer_ + length_ : GrowFourfold(count);
  text::CopyShort(end, units, count);
  length_ += static_cast<unsigned int>(count);
}

template <class T>
T* LStringLongTemplate<T>::GrowFourfold(unsigned long count) {
  constexpr unsigned long long largest = std::numeric_limits<unsigned int>::max();
  const unsigned long long length = length_ + static_cast<unsigned long long>(count);
  unsigned long long size = capacity_ != 0 ? capacity_ : kFormattedSize;
  while (size <= length) size *= 4;
  // The last step before the fields are full is a smaller one.
  GrowToSize(static_cast<unsigned long>(length < largest ? std::min(size, largest) : length + 1));
  return buffer_ + length_;
}

template <class T>
void LStringLongTemplate<T>::AppendUnits(const T* units, unsigned long count) {
  const unsigned long size = length_ + count + 1;
  if (buffer_ == nullptr || capacity_ < size) return AppendInNewBuffer(units, count);
  // The units may be this text's own last ones: they end where the room begins.
  text::CopyShort(buffer_ + length_, units, count);
  length_ += static_cast<unsigned int>(count);
  buffer_[length_] = 0;
}

template <class T>
void LStringLongTemplate<T>::AppendInNewBuffer(const T* units, unsigned long count) {
  // The old buffer stays until the units, which may lie in it, are copied.
  LStringLongTemplate grown;
  grown.GrowToSize(length_ + count + 1);
  std::copy_n(c_str(), length_, grown.buffer_);
  std::copy_n(units, count, grown.buffer_ + length_);
  grown.SetLength(length_ + count);
  *this = std::move(grown);
}

template <>
char* LStringLongTemplate<char>::Append(const char* text) {
  AppendUnits(text, std::char_traits<char>::length(text));
  return buffer_;
}

template <>
LStringLongTemplate<char>& LStringLongTemplate<char>::operator=(const char* text) {
  LStringLongTemplate copy;
  copy.AppendUnits(text, std::char_traits<char>::length(text));
  return *this = std::move(copy);
}

template class LStringLongTemplate<char>;
template class LStringLongTemplate<wchar_t>;
template class LStringLongTemplate<unsigned short>;
