#include <algorithm>
#include <cstddef>
#include <limits>
#include <new>
#include <utility>

#include <tillvane/text/LVector.h>

// The order and the widths of the fields are part of the binary interface.
static_assert(offsetof(LVector<char*>, data) == 0);
static_assert(offsetof(LVector<char*>, count) == sizeof(void*));

LVector<char*>::LVector(LVector&& other) noexcept
    : data(std::exchange(other.data, nullptr)), count(std::exchange(other.count, 0)) {}

LVector<char*>& LVector<char*>::operator=(LVector&& other) noexcept {
  std::swap(data, other.data);
  std::swap(count, other.count);
  return *this;
}

LVector<char*>::~LVector() { delete[] data; }

void LVector<char*>::SetSize(unsigned long size) {
  if (size == count) return;
  if (size > std::numeric_limits<unsigned int>::max()) throw std::bad_alloc();
  char** const slots = size == 0 ? nullptr : new char*[size];
  std::copy_n(data, std::min<unsigned long>(count, size), slots);
  delete[] data;
  data = slots;
  count = static_cast<unsigned int>(size);
}
