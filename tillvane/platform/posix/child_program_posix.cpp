#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

#include <tillvane/platform/child_program.h>

namespace platform {

namespace {

/// What a child's standard streams become.
class Streams {
 public:
  explicit Streams(const ChildProgram& child) : error_(posix_spawn_file_actions_init(&actions_)) {
    is_made_ = error_ == 0;
    Replace(STDIN_FILENO, child.input);
    Replace(STDOUT_FILENO, child.output);
  }
  ~Streams() {
    if (is_made_) posix_spawn_file_actions_destroy(&actions_);
  }
  Streams(const Streams&) = delete;
  Streams& operator=(const Streams&) = delete;

  int Error() const { return error_; }
  const posix_spawn_file_actions_t* Get() const { return &actions_; }

 private:
  void Replace(int standard, int descriptor) {
    if (error_ == 0 && descriptor >= 0) error_ = posix_spawn_file_actions_adddup2(&actions_, descriptor, standard);
  }

  posix_spawn_file_actions_t actions_;
  int error_;
  bool is_made_;
};

/// The signals that a child begins with. The library itself ignores SIGPIPE, with which a program in a pipeline ends
/// when nobody reads on; one that inherits it ignored goes on and complains. A host that ignores SIGCHLD would take
/// from a program what it wants to know of its own children.
class Signals {
 public:
  Signals() : error_(posix_spawnattr_init(&attributes_)) {
    is_made_ = error_ == 0;
    sigset_t signals;
    sigemptyset(&signals);
    if (error_ == 0) error_ = posix_spawnattr_setsigmask(&attributes_, &signals);
    sigaddset(&signals, SIGPIPE);
    sigaddset(&signals, SIGCHLD);
    if (error_ == 0) error_ = posix_spawnattr_setsigdefault(&attributes_, &signals);
    if (error_ == 0) error_ = posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
  }
  ~Signals() {
    if (is_made_) posix_spawnattr_destroy(&attributes_);
  }
  Signals(const Signals&) = delete;
  Signals& operator=(const Signals&) = delete;

  int Error() const { return error_; }
  const posix_spawnattr_t* Get() const { return &attributes_; }

 private:
  posix_spawnattr_t attributes_;
  int error_;
  bool is_made_;
};

/// Neither system copies this process's memory for the child, and at most the calling thread stands still until the
/// program runs. \return an error number
int Spawn(const ChildProgram& child, pid_t* process) {
  const Streams streams(child);
  if (streams.Error() != 0) return streams.Error();
  const Signals signals;
  if (signals.Error() != 0) return signals.Error();
  return posix_spawnp(process, child.program, streams.Get(), signals.Get(), child.arguments, child.environment);
}

pid_t Wait(int process, int* status, int options) {
  pid_t reaped;
  do {
    reaped = waitpid(process, status, options);
  } while (reaped < 0 && errno == EINTR);
  return reaped;
}

}  // namespace

int StartProgram(const ChildProgram& child) {
  pid_t process = -1;
  const int error = Spawn(child, &process);
  if (error == 0) return process;
  errno = error;
  return -1;
}

int WaitForProgram(int process) {
  int status = 0;
  return Wait(process, &status, 0) == process && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool ReapProgram(int process) {
  int status = 0;
  return Wait(process, &status, WNOHANG) != 0;
}

}  // namespace platform
