#pragma once

namespace core {

/// The System V key of the lock with this name; null is the empty name. Never 0, which would be a private set. Two
/// names with one key are one lock. Any thread.
int SystemLockKey(const char* name);

}  // namespace core
