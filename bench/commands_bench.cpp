#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <tillvane/system/LPipe.h>
#include <tillvane/system/command_output.h>

#include "families.h"

namespace bench {

namespace {

constexpr const char* kProgram = "/bin/echo";
const std::string kSaid = "hi\n";

/// Memory that is there for as long as this lives.
class Resident {
 public:
  explicit Resident(std::size_t size) : size_(size) {
    if (size_ == 0) return;
    memory_ = mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
  }
  ~Resident() {
    if (size_ != 0 && IsThere()) munmap(memory_, size_);
  }
  Resident(const Resident&) = delete;
  Resident& operator=(const Resident&) = delete;

  bool IsThere() const { return memory_ != MAP_FAILED; }

 private:
  std::size_t size_;
  void* memory_ = nullptr;
};

/// Runs a command again and again; `work` gives its output.
template <class Work>
Body WithMemory(std::size_t size, Work work) {
  return [=](benchmark::State& state) {
    const Resident resident(size);
    if (!resident.IsThere()) return state.SkipWithError("not so much memory");
    for ([[maybe_unused]] auto _ : state) {
      const FamilyStopwatch stopwatch(state);
      if (work() != kSaid) return state.SkipWithError("the command did not say what it should");
    }
  };
}

/// LRunCommandAndGetOutputAsString without its pause.
std::string Ours(const char* command) {
  LStringLong output;
  LPipeIn pipe;
  pipe._Open(command);
  commands::AppendOutput(output, pipe);
  return output.c_str();
}

std::string Popen(const char* command) {
  std::string output;
  std::FILE* const pipe = popen(command, "r");
  if (pipe == nullptr) return output;
  char buffer[260];
  while (const std::size_t count = std::fread(buffer, 1, sizeof buffer, pipe)) output.append(buffer, count);
  pclose(pipe);
  return output;
}

/// `system` gives no output.
std::string System(const char* command) { return std::system(command) == 0 ? kSaid : ""; }

std::string ReadAndReap(int ends[2], pid_t process) {
  close(ends[1]);
  std::string output;
  char buffer[260];
  for (ssize_t count; (count = read(ends[0], buffer, sizeof buffer)) > 0;) {
    output.append(buffer, static_cast<std::size_t>(count));
  }
  close(ends[0]);
  waitpid(process, nullptr, 0);
  return output;
}

char program[] = "/bin/echo", argument[] = "hi";
char* const words[] = {program, argument, nullptr};

std::string BareSpawn() {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return {};
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  pid_t process = -1;
  posix_spawn(&process, kProgram, &actions, nullptr, words, environ);
  posix_spawn_file_actions_destroy(&actions);
  return ReadAndReap(ends, process);
}

std::string Fork() {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return {};
  const pid_t process = fork();
  if (process == 0) {
    dup2(ends[1], STDOUT_FILENO);
    execv(kProgram, words);
    _exit(127);
  }
  return ReadAndReap(ends, process);
}

Body OurRun(std::size_t memory) {
  return WithMemory(memory, [] { return Ours("/bin/echo hi"); });
}

void MeasureRun(const std::string& title, std::size_t memory, const Options& options, Results* results) {
  Measure({"/bin/echo hi, its output taken" + title,
           {Clock::kFamily},
           "LPipeIn",
           OurRun(memory),
           {{"popen", WithMemory(memory, [] { return Popen("/bin/echo hi"); }), 0.7},
            {"system, >/dev/null", WithMemory(memory, [] { return System("/bin/echo hi >/dev/null"); })},
            Limit("posix_spawn of the program", WithMemory(memory, [] { return BareSpawn(); })),
            {"fork, exec of the program", WithMemory(memory, [] { return Fork(); })}}},
          options, results);
}

}  // namespace

void RunCommandsFamily(const Options& options, Results* results) {
  PrintHead("commands");
  // As a shell that starts a program has it: where $PWD is wrong, a command is left to the shell to set it right.
  char folder[4096];
  if (getcwd(folder, sizeof folder) != nullptr) setenv("PWD", folder, 1);
  constexpr std::size_t kMemory = std::size_t{512} << 20;
  MeasureRun("", 0, options, results);
  MeasureRun(", with 512 MiB resident", kMemory, options, results);
  Measure({"with 512 MiB resident and without",
           {Clock::kFamily},
           "LPipeIn, 512 MiB",
           OurRun(kMemory),
           {{"LPipeIn", OurRun(0), 1.5}}},
          options, results);
  Measure({"a command that a shell reads",
           {Clock::kFamily},
           "LPipeIn",
           WithMemory(0, [] { return Ours("echo hi"); }),
           {{"popen", WithMemory(0, [] { return Popen("echo hi"); })}}},
          options, results);
}

}  // namespace bench
