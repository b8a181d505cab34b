#pragma once

#include <tillvane/export.h>

/// \file
/// An owned array of pointers to texts.

/// An owned array; there is one of pointers to texts only.
template <class T>
struct LVector;

/// An owned array of pointers to texts. The texts stay their owners'. Not synchronised.
template <>
struct TILLVANE_API LVector<char*> {
  char** data = nullptr;   ///< Made by array-new; null where there is none.
  unsigned int count = 0;  ///< Slots of the array.

  /// No array.
  LVector() = default;
  /// Takes the array of `other` over, which has none afterwards.
  LVector(LVector&& other) noexcept;
  /// Exchanges the two arrays.
  LVector& operator=(LVector&& other) noexcept;
  LVector(const LVector&) = delete;
  LVector& operator=(const LVector&) = delete;
  /// Frees the array, not the texts.
  ~LVector();

  /// Makes it an array of exactly `size` slots, none for 0. The first slots keep their pointers, those that are new are
  /// not initialised. An allocation that fails throws std::bad_alloc and changes nothing.
  void SetSize(unsigned long size);
};
