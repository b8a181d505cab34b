#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <initializer_list>

#include <tillvane/core/LSignalObject.h>
#include <tillvane/core/cancellation.h>
#include <tillvane/core/poll_for.h>
#include <tillvane/core/signal_edges.h>
#include <tillvane/platform/pipe.h>

static_assert(sizeof(LSignalObjectRef) == 2 * sizeof(int) && sizeof(LSignalObject) == 2 * sizeof(int));

struct LSignalObjectGroupLayout {
  static_assert(sizeof(fd_set) == 128, "1024 bits");
  static_assert(offsetof(LSignalObjectGroup, members_) == 0);
  static_assert(offsetof(LSignalObjectGroup, highest_) == 128);
  static_assert(offsetof(LSignalObjectGroup, count_) == 132);
  static_assert(sizeof(LSignalObjectGroup) == 136);
};

namespace {

constexpr int kMostMembers = 255;

bool FitsSet(int descriptor) { return descriptor >= 0 && descriptor < FD_SETSIZE; }

/// `ms` as `select` takes it; null for no limit.
timeval* SelectTimeout(unsigned int ms, timeval& storage) {
  if (ms == 0xFFFFFFFF) return nullptr;
  storage.tv_sec = static_cast<time_t>(ms / 1000);
  storage.tv_usec = static_cast<suseconds_t>(ms % 1000 * 1000);
  return &storage;
}

/// An interrupted wait counts as signalled, so that the caller's loop looks at its own state again.
template <std::size_t N>
bool WaitReadable(const std::array<int, N>& read_ends, unsigned int ms) {
  std::array<pollfd, N> polled;
  for (std::size_t i = 0; i < N; ++i) polled[i] = {read_ends[i], POLLIN, 0};
  const int ready = core::PollReadable(polled.data(), N, ms);
  return ready > 0 || (ready < 0 && errno == EINTR);
}

}  // namespace

void LSignalObjectRef::Signal() const noexcept {
  const int kept = errno;
  const core::CancellationPutOff put_off;
  const unsigned char one = 1;
  [[maybe_unused]] const core::SignalEdge edge(filedes[0]);
  // A full pipe refuses the byte, and is signalled all the same.
  [[maybe_unused]] const ssize_t written = write(filedes[1], &one, 1);
  errno = kept;
}

void LSignalObjectRef::Reset() {
  std::array<unsigned char, 256> drained;
  for (;;) {
    const ssize_t got = read(filedes[0], drained.data(), drained.size());
    if (got < 0 && errno == EINTR) continue;
    // A short read has emptied the pipe: a further one would only say so.
    if (got < static_cast<ssize_t>(drained.size())) return;
  }
}

bool LSignalObjectRef::IsSignaled() const {
  pollfd read_end{filedes[0], POLLIN, 0};
  // A pending signal handler interrupts even a poll that does not wait; here that would be a wrong answer.
  int ready;
  do ready = core::PollReadable(&read_end, 1, 0);
  while (ready < 0 && errno == EINTR);
  return ready > 0;
}

bool LSignalObjectRef::WaitSignal(unsigned int ms) const { return WaitReadable(std::array{filedes[0]}, ms); }

bool LSignalObjectRef::WaitSignalDual(LSignalObjectRef other, unsigned int ms) const {
  return WaitReadable(std::array{filedes[0], other.filedes[0]}, ms);
}

bool LSignalObjectRef::WaitSignalTriple(LSignalObjectRef a, LSignalObjectRef b, unsigned int ms) const {
  return WaitReadable(std::array{filedes[0], a.filedes[0], b.filedes[0]}, ms);
}

bool LSignalObjectRef::Select(int highest, fd_set& set, unsigned int ms) const {
  // The kernel would read and write beyond the set.
  if (highest >= FD_SETSIZE) return false;
  timeval storage;
  const int ready = select(highest + 1, &set, nullptr, nullptr, SelectTimeout(ms, storage));
  return ready > 0 || (ready < 0 && errno == EINTR);
}

LSignalObject::LSignalObject() { platform::OpenSignalPipe(filedes); }

LSignalObject::~LSignalObject() {
  const core::CancellationPutOff put_off;
  for (const int end : filedes) {
    if (end >= 0) close(end);
  }
}

LSignalObjectGroup::LSignalObjectGroup() : highest_(-1), count_(0) { FD_ZERO(&members_); }

void LSignalObjectGroup::Add(LSignalObjectRef ref) {
  const int descriptor = ref.filedes[0];
  if (count_ >= kMostMembers || !FitsSet(descriptor)) return;
  FD_SET(descriptor, &members_);
  if (descriptor > highest_) highest_ = descriptor;
  ++count_;
}

void LSignalObjectGroup::Add(LSignalObjectGroup& other) {
  const int highest = other.highest_;
  for (int descriptor = 0; descriptor <= highest; ++descriptor) {
    if (!FD_ISSET(descriptor, &other.members_)) continue;
    if (count_ >= kMostMembers) return;
    LSignalObjectRef member;
    member.filedes[0] = descriptor;
    Add(member);
  }
}

bool LSignalObjectGroup::Select(unsigned int ms) const {
  fd_set ready_set = members_;
  timeval storage;
  // Unlike a wait for one object, an interrupted one is a failure here.
  return select(highest_ + 1, &ready_set, nullptr, nullptr, SelectTimeout(ms, storage)) > 0;
}

int LSignalObjectGroup::SelectInPlace(unsigned int ms) {
  timeval storage;
  return select(highest_ + 1, &members_, nullptr, nullptr, SelectTimeout(ms, storage));
}

bool LSignalObjectGroup::Has(LSignalObjectRef ref) const {
  const int descriptor = ref.filedes[0];
  return FitsSet(descriptor) && FD_ISSET(descriptor, &members_);
}
