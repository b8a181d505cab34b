#include <tests/support/child_process.h>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <system_error>

#include <tests/support/faults.h>

namespace support {

namespace {

using Clock = std::chrono::steady_clock;

/// How long one look at a child lasts; its end shows by asking again.
constexpr int kLookMs = 2;
/// More than enough for a child that was killed.
constexpr unsigned int kEndMs = 10000;

struct Pipe {
  Pipe() {
    if (pipe2(ends, O_CLOEXEC) == 0) return;
    std::perror("pipe2");
    std::abort();
  }
  int ends[2];
};

std::vector<char*> Pointers(const std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (const std::string& text : texts) pointers.push_back(const_cast<char*>(text.c_str()));
  pointers.push_back(nullptr);
  return pointers;
}

/// This process's environment with some variables of its own.
std::vector<std::string> Environment(const std::vector<std::string>& additions) {
  std::vector<std::string> all = additions;
  for (char** variable = environ; *variable != nullptr; ++variable) {
    const std::string text = *variable;
    const std::string name = text.substr(0, text.find('=') + 1);
    bool replaced = false;
    for (const std::string& addition : additions) replaced |= addition.compare(0, name.size(), name) == 0;
    if (!replaced) all.push_back(text);
  }
  return all;
}

/// What this process ignores or blocks its child need not: the library ignores SIGPIPE, and a shell may the others.
posix_spawnattr_t WithDefaultSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int number : {SIGPIPE, SIGINT, SIGQUIT}) sigaddset(&signals, number);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setsigdefault(&attributes, &signals);
  sigemptyset(&signals);
  posix_spawnattr_setsigmask(&attributes, &signals);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
  return attributes;
}

pid_t Spawn(const std::vector<std::string>& command, const std::vector<std::string>& environment, int output,
            int errors) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, errors, STDERR_FILENO);
  posix_spawnattr_t attributes = WithDefaultSignals();
  pid_t pid = -1;
  const int error = posix_spawn(&pid, command[0].c_str(), &actions, &attributes, Pointers(command).data(),
                                Pointers(environment).data());
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  return error == 0 ? pid : -1;
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& command, const std::vector<std::string>& environment) {
  const Pipe output;
  const Pipe errors;
  pid_ = Spawn(command, Environment(environment), output.ends[1], errors.ends[1]);
  close(output.ends[1]);
  close(errors.ends[1]);
  streams_[0].descriptor = output.ends[0];
  streams_[1].descriptor = errors.ends[0];
}

ChildProcess::~ChildProcess() {
  if (IsStarted() && !ended_) {
    kill(pid_, SIGKILL);
    Reap(0);
  }
  for (const Stream& stream : streams_) {
    if (stream.descriptor >= 0) close(stream.descriptor);
  }
}

void ChildProcess::Signal(int signal) const {
  if (!IsStarted() || ended_) return;
  if (signal == SIGKILL) NoteFault("process", 0, "killed");
  kill(pid_, signal);
}

bool ChildProcess::WaitForOutput(const std::string& text, unsigned int ms) {
  const auto end = Clock::now() + std::chrono::milliseconds(ms);
  bool running = true;
  while (Output().find(text) == std::string::npos) {
    if (!running || Clock::now() >= end) return false;
    running = Poll();
  }
  return true;
}

bool ChildProcess::WaitForEnd(unsigned int ms) {
  const auto end = Clock::now() + std::chrono::milliseconds(ms);
  while (Poll()) {
    if (Clock::now() >= end) return false;
  }
  return IsStarted();
}

int ChildProcess::ExitCode() const { return ended_ && WIFEXITED(status_) ? WEXITSTATUS(status_) : -1; }

int ChildProcess::EndingSignal() const { return ended_ && WIFSIGNALED(status_) ? WTERMSIG(status_) : -1; }

std::string ChildProcess::Describe() const {
  std::string text = "It has written: " + Output() + Errors() + "\n";
  std::error_code gone;
  const std::string tasks = "/proc/" + std::to_string(pid_) + "/task";
  for (std::filesystem::directory_iterator task(tasks, gone); !gone && task != end(task); task.increment(gone)) {
    std::ifstream status(task->path() / "status");
    for (std::string line; std::getline(status, line);) {
      for (const char* const name : {"Name:", "State:", "SigPnd:", "ShdPnd:", "SigBlk:"}) {
        if (line.rfind(name, 0) == 0) text += line + "  ";
      }
    }
    std::string sleeps_in;
    std::ifstream(task->path() / "wchan") >> sleeps_in;
    text += "in: " + sleeps_in + '\n';
  }
  return text;
}

/// One look at the child. \return whether it still runs; when it does not, all that it wrote has been read
bool ChildProcess::Poll() {
  if (!IsStarted() || ended_) return false;
  const bool running = !Reap(WNOHANG);
  // A grandchild may keep the pipes open, so that an end of file is not waited for.
  for (Stream& stream : streams_) ReadWhatIsThere(&stream, running ? kLookMs : 0);
  return running;
}

void ChildProcess::ReadWhatIsThere(Stream* stream, int ms) {
  pollfd ready{stream->descriptor, POLLIN, 0};
  if (stream->descriptor < 0) poll(nullptr, 0, ms);
  while (stream->descriptor >= 0 && poll(&ready, 1, ms) > 0) {
    char buffer[4096];
    const ssize_t size = read(stream->descriptor, buffer, sizeof buffer);
    if (size > 0) stream->text.append(buffer, static_cast<unsigned long>(size));
    if (size < 0 && errno == EINTR) continue;
    if (size <= 0) {
      close(stream->descriptor);
      stream->descriptor = -1;
    }
    ms = 0;
  }
}

/// \return whether the child has ended
bool ChildProcess::Reap(int options) {
  pid_t reaped;
  do {
    reaped = waitpid(pid_, &status_, options);
  } while (reaped < 0 && errno == EINTR);
  ended_ = reaped == pid_;
  return ended_;
}

ProcessResult RunProcess(const std::vector<std::string>& command, unsigned int ms,
                         const std::vector<std::string>& environment) {
  ChildProcess child(command, environment);
  ProcessResult result;
  result.ended = child.WaitForEnd(ms);
  if (!result.ended) {
    child.Signal(SIGKILL);
    child.WaitForEnd(kEndMs);
  }
  result.exit_code = child.ExitCode();
  result.signal = child.EndingSignal();
  result.output = child.Output();
  result.errors = child.Errors();
  return result;
}

}  // namespace support
