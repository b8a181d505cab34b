#pragma once

#include <tillvane/tillvane.h>

#include <stdexcept>
#include <string>

namespace soak {

/// A part of the library at work. A task is used by one thread, made and destroyed on the main thread.
class Task {
 public:
  virtual ~Task() = default;

  /// Uses its part once, looks at every result, and leaves nothing behind: no thread, descriptor, child or file.
  /// Throws WrongResult.
  /// \param process the thread that it runs on
  virtual void Round(LProcessInterface& process) = 0;
};

struct WrongResult : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// \param what says what should be
inline void Require(bool is_so, const char* what) {
  if (!is_so) throw WrongResult(what);
}

}  // namespace soak
