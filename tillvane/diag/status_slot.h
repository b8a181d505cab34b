#pragma once

#include <atomic>

namespace diag {

inline constexpr unsigned int kStatusSize = 260;

/// The status text that one thread at a time owns. It has no lock: its owner's number says whose text it is. Any
/// thread.
class StatusSlot {
 public:
  void Empty();

  /// `owner` takes it over. A text that is null is an empty one.
  void Set(unsigned int owner, const char* text);

  /// `owner` gives it up, if it is the owner; the text stays.
  void Clear(unsigned int owner);

  /// Copies the text. \return false, and `out` is empty, when it is not `owner`'s
  bool Copy(unsigned int owner, char (&out)[kStatusSize]) const;

  /// In a forked process: what was `from`'s is `to`'s, and nobody's otherwise. One thread only.
  void MoveTo(unsigned int to, unsigned int from);

 private:
  std::atomic<unsigned int> owner_{0};
  // The last is never anything but a terminator.
  std::atomic<char> text_[kStatusSize] = {};
};

extern constinit StatusSlot status_slot;

}  // namespace diag
