#pragma once

#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <vector>

#include <gtest/gtest.h>

namespace support {

/// Lets a process run from one system call to the next.
class CallTracer {
 public:
  explicit CallTracer(pid_t pid) : pid_(pid) {
    attached_ = ptrace(PTRACE_ATTACH, pid_, nullptr, nullptr) == 0;
    if (!attached_) return;
    waitpid(pid_, nullptr, 0);
    ptrace(PTRACE_SETOPTIONS, pid_, nullptr, PTRACE_O_TRACESYSGOOD);
  }

  bool IsAttached() const { return attached_; }

  using Call = __ptrace_syscall_info;

  /// Stops before the `count`th call from here. \return false when the process has ended before, which reaps it
  bool RunToCall(int count) {
    Call call;
    while (count > 0 && NextCall(&call)) --count;
    return count == 0;
  }

  /// The wait status of a process that has ended.
  int EndStatus() const { return status_; }

  /// Stops before a call. \return false when the process waits for input, having changed something, before it comes
  bool RunTo(const std::function<bool(const Call&)>& is_it) {
    bool changed = false;
    Call call;
    while (NextCall(&call)) {
      if (IsInput(call) && changed) return false;
      if (is_it(call)) return true;
      changed |= IsChange(call);
    }
    ADD_FAILURE() << "the child ended";
    return false;
  }

  /// Stops before the `count`th call that changes something.
  bool RunToChange(int count) {
    return RunTo([&](const Call& call) { return IsChange(call) && --count == 0; });
  }

  /// Runs to where the process waits for input. \return the calls that change anything, in their order
  std::vector<long> RunToInput() {
    std::vector<long> changes;
    RunTo([&](const Call& call) {
      if (IsChange(call)) changes.push_back(static_cast<long>(call.entry.nr));
      return false;
    });
    return changes;
  }

  void Detach() { ptrace(PTRACE_DETACH, pid_, nullptr, nullptr); }

 private:
  static bool IsInput(const Call& call) { return call.entry.nr == SYS_read && call.entry.args[0] == STDIN_FILENO; }

  static bool IsChange(const Call& call) {
    constexpr long kChanges[] = {
        SYS_openat,   SYS_close,   SYS_write, SYS_pwrite64, SYS_pwritev, SYS_ftruncate, SYS_fallocate,
        SYS_unlinkat, SYS_mkdirat, SYS_fcntl, SYS_fchmod,   SYS_fsync,   SYS_fdatasync, SYS_renameat2,
#ifdef SYS_open  // Newer machines have no calls without a folder.
        SYS_open,     SYS_unlink,  SYS_mkdir,
#endif
    };
    return std::find(std::begin(kChanges), std::end(kChanges), static_cast<long>(call.entry.nr)) != std::end(kChanges);
  }

  bool NextCall(Call* call) {
    do {
      if (ptrace(PTRACE_SYSCALL, pid_, nullptr, nullptr) != 0 || waitpid(pid_, &status_, 0) != pid_) return false;
      if (!WIFSTOPPED(status_)) return false;
      const auto size = reinterpret_cast<void*>(sizeof *call);
      if (ptrace(PTRACE_GET_SYSCALL_INFO, pid_, size, call) <= 0) return false;
    } while (call->op != PTRACE_SYSCALL_INFO_ENTRY);
    return true;
  }

  pid_t pid_;
  bool attached_ = false;
  int status_ = -1;
};

}  // namespace support
