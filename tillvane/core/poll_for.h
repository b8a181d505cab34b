#pragma once

#include <poll.h>

namespace core {

/// `poll` with the toolkit's timeout: `ms` milliseconds, 0xFFFFFFFF for no limit. \return as `poll`, with errno
int PollFor(pollfd* descriptors, unsigned int count, unsigned int ms);

}  // namespace core
