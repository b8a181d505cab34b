#pragma once

#include <poll.h>

namespace core {

/// `poll` with the toolkit's timeout: `ms` milliseconds, 0xFFFFFFFF for no limit. \return as `poll`, with errno
int PollFor(pollfd* descriptors, unsigned int count, unsigned int ms);

/// PollFor with the answers of `select`: a descriptor that is none, a negative one too, fails the whole wait at once
/// with EBADF. A hang-up is readable.
int PollReadable(pollfd* descriptors, unsigned int count, unsigned int ms);

}  // namespace core
