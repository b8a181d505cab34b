#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <memory>

#include <tillvane/core/LProcessRun.h>

// The order and the widths of the fields are part of the binary interface.
static_assert(offsetof(ProcessRunData, command) == 0);
static_assert(offsetof(ProcessRunData, done) == sizeof(LStringLong));
static_assert(offsetof(ProcessRunData, release) == sizeof(LStringLong) + 8);
static_assert(offsetof(ProcessRunData, result) == sizeof(LStringLong) + 16);
static_assert(offsetof(ProcessRunData, exitCode) == sizeof(LStringLong) + 20);

namespace {

constexpr int kRun = 0;
constexpr int kCouldNotBeRun = 2;

void Run(ProcessRunData& data) {
  data.result = kRun;
  data.exitCode = -1;
  std::FILE* const shell = popen(data.command.c_str(), "w");
  if (shell == nullptr) {
    data.result = kCouldNotBeRun;
    return;
  }
  const int status = pclose(shell);
  if (status == -1) {
    // A host that ignores its children's ends has no exit code to read, but the command ran.
    if (errno != ECHILD) data.result = kCouldNotBeRun;
  } else if ((status & 0x7F) == 0) {
    data.exitCode = (status >> 8) & 0xFF;
  }
}

}  // namespace

void* ProcessRunThreadCallback(void* data) {
  std::unique_ptr<ProcessRunData> run(static_cast<ProcessRunData*>(data));
  // Whoever asked cannot give it back: it is no more this thread's once the answer is there.
  const bool stays_the_callers = run->release.filedes[0] < 0;
  Run(*run);
  run->done.Signal();
  if (stays_the_callers) {
    [[maybe_unused]] const ProcessRunData* const kept = run.release();
    return nullptr;
  }
  // An interruption ends the wait too, and says nothing.
  while (!run->release.IsSignaled()) run->release.WaitSignal(0xFFFFFFFF);
  return nullptr;
}
