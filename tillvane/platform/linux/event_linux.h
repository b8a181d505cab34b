#pragma once

#include <atomic>
#include <memory>
#include <vector>

namespace platform {

/// An event and its place in the queue. What every event needs fills one cache line of the two.
struct alignas(64) Event {
  /// Large enough for a pointer; almost every event carries at most three such parameters.
  struct SmallParameter {
    unsigned int name, type;
    unsigned long size;
    unsigned char bytes[8];
  };
  struct LargeParameter {
    unsigned int name, type;
    std::vector<unsigned char> bytes;
  };

  std::atomic<int> references{1};
  unsigned int cls = 0;
  unsigned int kind = 0;

  // Written by whoever posts, before the event is handed over; by the main thread afterwards.
  int priority = 0;
  unsigned int flush_pass = 0;
  std::atomic<bool> queued{false};
  Event* next = nullptr;
  Event* previous = nullptr;

  unsigned int small_count = 0;
  std::unique_ptr<std::vector<LargeParameter>> large;
  SmallParameter small[3];
};

/// Was an event that carries this number in the lists before that flush began? The numbers come round to 0 after 32
/// bits.
constexpr bool IsBeforeFlush(unsigned int flush_pass, unsigned int flush) {
  return static_cast<int>(flush_pass - flush) < 0;
}

}  // namespace platform
