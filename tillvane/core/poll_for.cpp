#include <tillvane/core/poll_for.h>

#include <climits>

namespace core {

int PollFor(pollfd* descriptors, unsigned int count, unsigned int ms) {
  constexpr unsigned int no_limit = 0xFFFFFFFF;
  constexpr unsigned int longest = INT_MAX;
  const auto number = static_cast<nfds_t>(count);
  if (ms == no_limit) return poll(descriptors, number, -1);
  // poll counts in a signed int: the upper half of the times, 25 days and more, takes two calls.
  if (ms > longest) {
    const int ready = poll(descriptors, number, INT_MAX);
    if (ready != 0) return ready;
    ms -= longest;
  }
  return poll(descriptors, number, static_cast<int>(ms));
}

}  // namespace core
