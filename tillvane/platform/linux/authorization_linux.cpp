#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <tillvane/platform/authorization.h>
#include <tillvane/platform/child_program.h>
#include <tillvane/platform/linux/privileged_tool_linux.h>
#include <tillvane/platform/pipe.h>

namespace platform {

namespace {

// --- Which programs ---

// Never looked for in $PATH, which is the user's to set.
constexpr const char* kPkexec[] = {"/usr/bin/pkexec", "/run/wrappers/bin/pkexec"};

/// The folder that the library lies in, with a slash; empty where that cannot be told.
std::string LibraryFolder() {
  Dl_info library{};
  if (dladdr(reinterpret_cast<const void*>(&StartPrivilegedTool), &library) == 0 || library.dli_fname == nullptr) {
    return {};
  }
  const std::unique_ptr<char, decltype(&std::free)> path(realpath(library.dli_fname, nullptr), &std::free);
  if (path == nullptr) return {};
  const std::string text = path.get();
  return text.substr(0, text.rfind('/') + 1);
}

/// The helper's path: where the package is installed, in the same place of a package that was moved, or beside the
/// library, where a host may put both. polkit knows the first one by the action "system.privilege.admin"; the others
/// it asks for under pkexec's own. None of them has rights of its own, so that nothing is gained by planting one.
/// \return empty when there is none
std::string FindHelper() {
  const std::string folder = LibraryFolder();
  const std::string candidates[] = {TILLVANE_LIBEXEC_FOLDER, folder + TILLVANE_LIBEXEC_FROM_LIBRARY, folder};
  for (const std::string& candidate : candidates) {
    // As the action writes it: pkexec compares texts.
    std::string helper = (std::filesystem::path(candidate) / kPrivilegedHelper).lexically_normal();
    if (helper.front() == '/' && access(helper.c_str(), X_OK) == 0) return helper;
  }
  return {};
}

// --- What they are given ---

// What pkexec shows its questions with, on a terminal and in a language. All else of the caller's stays away from it.
constexpr const char* kPassedOn[] = {"TERM", "LANG", "LANGUAGE", "LC_ALL", "LC_MESSAGES"};

/// pkexec refuses to run where a variable that it passes on looks as if it named a file, or a format.
bool IsRefusedByPkexec(const char* value) {
  return std::strpbrk(value, "/%") != nullptr || std::strstr(value, "..") != nullptr;
}

std::vector<std::string> PkexecEnvironment() {
  // $SHELL is left out: pkexec takes that for a reason to refuse where it is not in /etc/shells.
  std::vector<std::string> all = {kToolEnvironment[0]};
  for (const char* name : kPassedOn) {
    const char* const value = std::getenv(name);
    if (value != nullptr && !IsRefusedByPkexec(value)) all.push_back(std::string(name) + '=' + value);
  }
  return all;
}

/// Nobody writes to the texts, whatever the system's declarations say.
std::vector<char*> Pointers(const std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (const std::string& text : texts) pointers.push_back(const_cast<char*>(text.c_str()));
  return pointers;
}

void Append(std::vector<char*>* words, char* const* arguments) {
  while (arguments != nullptr && *arguments != nullptr) words->push_back(*arguments++);
  words->push_back(nullptr);
}

// --- Tools that still run when nobody reads on ---

/// Nobody waits for a tool. Those that have ended are reaped when the next one starts or is left; of more than 1024 at
/// a time the rest stay the system's until this process ends. No lock and no memory: a fork or a lack of it harms
/// nothing.
class RunningTools {
 public:
  void Add(int process) {
    for (std::atomic<int>& slot : processes_) {
      int none = 0;
      if (slot.compare_exchange_strong(none, process)) return;
    }
  }

  void ReapEnded() {
    for (std::atomic<int>& slot : processes_) {
      const int process = slot.exchange(0);
      if (process != 0 && !ReapProgram(process)) Add(process);
    }
  }

 private:
  std::array<std::atomic<int>, 1024> processes_{};
};

constinit RunningTools running_tools;

/// How long a tool may take between the end of its output and its own.
constexpr int kMomentMs = 50;

// --- Starting ---

class Descriptor {
 public:
  explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
  ~Descriptor() { Close(); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int Get() const { return descriptor_; }
  int Take() { return std::exchange(descriptor_, -1); }
  void Close() {
    if (descriptor_ >= 0) close(descriptor_);
    descriptor_ = -1;
  }

 private:
  int descriptor_;
};

/// \param helper empty where there is none: then the tool itself is started, with this process's file-creation mask
/// \return the process, -1 when it could not be started
int StartAsRoot(const std::string& helper, const char* tool, char* const* arguments, ChildProgram child) {
  std::vector<char*> words = {const_cast<char*>(tool)};
  if (!helper.empty()) words.insert(words.begin(), const_cast<char*>(helper.c_str()));
  Append(&words, arguments);
  child.program = words.front();
  child.arguments = words.data();
  child.environment = const_cast<char* const*>(kToolEnvironment);
  return StartProgram(child);
}

/// pkexec asks about the process that started it, which has to be there still: it is our own child. \return as above
int StartThroughPkexec(const std::string& helper, const char* tool, char* const* arguments, ChildProgram child) {
  if (helper.empty()) return -1;
  const std::vector<std::string> texts = {"pkexec", "--keep-cwd", helper, tool}, variables = PkexecEnvironment();
  std::vector<char*> words = Pointers(texts), environment = Pointers(variables);
  Append(&words, arguments);
  environment.push_back(nullptr);
  child.arguments = words.data();
  child.environment = environment.data();
  int process = -1;
  for (const char* const pkexec : kPkexec) {
    child.program = pkexec;
    if (process < 0) process = StartProgram(child);
  }
  return process;
}

/// Waits for the first byte of output, or its end. \return whether it is the helper's
bool ReadStartByte(int output) {
  char byte;
  ssize_t count;
  do {
    count = read(output, &byte, 1);
  } while (count < 0 && errno == EINTR);
  return count == 1 && byte == kStartByte;
}

/// What pkexec says by its exit code when the helper has not written its byte.
Authorization Outcome(int exit_code) {
  constexpr int kDismissed = 126;
  return exit_code == kDismissed ? Authorization::kCancelled : Authorization::kFailed;
}

}  // namespace

Authorization StartPrivilegedTool(const char* tool, char* const* arguments, PrivilegedTool* started) {
  running_tools.ReapEnded();
  int ends[2];
  if (!OpenChildPipe(ends)) return Authorization::kFailed;
  Descriptor read_end(ends[0]), write_end(ends[1]);
  const Descriptor nothing(open("/dev/null", O_RDONLY | O_CLOEXEC));
  if (nothing.Get() < 0) return Authorization::kFailed;
  ChildProgram child;
  child.input = nothing.Get();
  child.output = write_end.Get();
  // A program that has the rights without its user having them does not decide for him.
  const bool is_root = getuid() == 0 && geteuid() == 0;
  const std::string helper = FindHelper();
  const int process =
      is_root ? StartAsRoot(helper, tool, arguments, child) : StartThroughPkexec(helper, tool, arguments, child);
  if (process < 0) return Authorization::kFailed;
  write_end.Close();
  const bool says_started = !helper.empty();
  if (says_started && !ReadStartByte(read_end.Get())) {
    read_end.Close();
    return Outcome(WaitForProgram(process));
  }
  *started = {read_end.Take(), process};
  return Authorization::kStarted;
}

void LeavePrivilegedTool(const PrivilegedTool& started, bool is_ending) {
  close(started.output);
  running_tools.ReapEnded();
  if (ReapProgram(started.process)) return;
  // Most tools close their output by ending; one that goes on is not waited for.
  for (int i = 0; is_ending && i < kMomentMs; ++i) {
    poll(nullptr, 0, 1);
    if (ReapProgram(started.process)) return;
  }
  running_tools.Add(started.process);
}

}  // namespace platform
