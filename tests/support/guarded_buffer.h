#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>

namespace support {

/// A destination of exactly so many units, each with a mark in it, and marks before and behind it.
template <class Unit>
class GuardedBuffer {
 public:
  static constexpr Unit kMark = static_cast<Unit>(0x6B6B6B6B);

  explicit GuardedBuffer(std::size_t size) : size_(size), units_(new Unit[size + 2 * kGuard]) {
    std::fill_n(units_.get(), size + 2 * kGuard, kMark);
  }

  Unit* get() { return units_.get() + kGuard; }
  Unit operator[](std::size_t index) const { return units_[kGuard + index]; }

  /// Was nothing written before it, nor from an index on?
  bool IsUntouchedFrom(std::size_t index) const {
    const Unit* const begin = units_.get();
    const auto is_mark = [](Unit unit) { return unit == kMark; };
    return std::all_of(begin, begin + kGuard, is_mark) &&
           std::all_of(begin + kGuard + index, begin + size_ + 2 * kGuard, is_mark);
  }
  bool IsWhole() const { return IsUntouchedFrom(size_); }

 private:
  static constexpr std::size_t kGuard = 64;

  std::size_t size_;
  std::unique_ptr<Unit[]> units_;
};

}  // namespace support
