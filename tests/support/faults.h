#pragma once

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <type_traits>
#include <utility>

namespace support {

/// Notes a fault that a test injects, in the file that TILLVANE_TEST_FAULTS names, if it does: a line with the program,
/// what was made to fail and how, a number of errno or a word. Where it is called may have no memory, and stand in for
/// the very calls that write a file: these are made past the C library. errno stays.
inline void NoteFault(const char* call, int error, const char* word = nullptr) {
  const char* const path = std::getenv("TILLVANE_TEST_FAULTS");
  if (path == nullptr) return;
  const int before = errno;
  char line[256];
  const int length = word != nullptr
                         ? std::snprintf(line, sizeof line, "%s %s %s\n", program_invocation_short_name, call, word)
                         : std::snprintf(line, sizeof line, "%s %s %d\n", program_invocation_short_name, call, error);
  const long file = syscall(SYS_openat, AT_FDCWD, path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
  if (file >= 0 && length > 0 && length < static_cast<int>(sizeof line)) syscall(SYS_write, file, line, length);
  if (file >= 0) syscall(SYS_close, file);
  errno = before;
}

/// A call of the C library's that fails, noted: -1 with errno, in the function that takes the call's place.
inline int FailNoted(int error, const char* call = __builtin_FUNCTION()) {
  NoteFault(call, error);
  errno = error;
  return -1;
}

template <class Signature>
class Replacement;

/// What a call of the C library's does instead, while it is set. Each time that it fails is noted as a fault.
template <class Answer, class... Arguments>
class Replacement<Answer(Arguments...)> {
 public:
  explicit Replacement(const char* call) : call_(call) {}
  Replacement(const Replacement&) = delete;
  /// Does the same as the other, under its own name.
  Replacement& operator=(const Replacement& other) {
    function_ = other.function_;
    return *this;
  }
  Replacement& operator=(std::function<Answer(Arguments...)> function) {
    function_ = std::move(function);
    return *this;
  }

  explicit operator bool() const { return static_cast<bool>(function_); }

  Answer operator()(Arguments... arguments) const {
    const Answer answer = function_(arguments...);
    if (IsFailure(answer)) NoteFault(call_, errno);
    return answer;
  }

 private:
  static bool IsFailure(Answer answer) {
    if constexpr (std::is_pointer_v<Answer>) {
      return answer == nullptr;
    } else {
      return answer < 0;
    }
  }

  const char* call_;
  std::function<Answer(Arguments...)> function_;
};

}  // namespace support
