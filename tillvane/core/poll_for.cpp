#include <tillvane/core/poll_for.h>

#include <algorithm>
#include <cerrno>
#include <climits>

#include <tillvane/core/signal_edges.h>

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

int PollReadable(pollfd* descriptors, unsigned int count, unsigned int ms) {
  const auto fail = [] {
    errno = EBADF;
    return -1;
  };
  pollfd* const end = descriptors + count;
  // poll passes over a negative descriptor, and would sleep.
  if (std::any_of(descriptors, end, [](const pollfd& one) { return one.fd < 0; })) return fail();
  const int ready = PollFor(descriptors, count, ms);
  if (ready > 0 && std::any_of(descriptors, end, [](const pollfd& one) { return (one.revents & POLLNVAL) != 0; })) {
    return fail();
  }
  for (const pollfd* one = descriptors; one != end; ++one) {
    if (one->revents != 0) NoteSignalSeen(one->fd);
  }
  return ready;
}

}  // namespace core
