#pragma once

namespace core {

/// Sleeps for `ms` milliseconds, all of them: a signal handler in between shortens nothing. 0xFFFFFFFF is nearly fifty
/// days and not for ever. Any thread.
void SleepFor(unsigned int ms);

}  // namespace core
