// The registry of threads after its end, for threads of the host's that still run when the library has come to its own.
// Apart from its other tests: ThreadSanitizer takes the lock of a forked process for a locked one.

#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include <gtest/gtest.h>

#include <tillvane/diag/thread_registry.h>

namespace {

TEST(EndedRegistry, IsLeftAlone) {
  const auto use_after_end = [] {
    LDebugThreadDataStartThread("Here");
    { const diag::ThreadRegistry ended; }
    LDebugThreadDataStartThread("Late");
    LDebugThreadDataStopThread();
    char line[260];
    LDebugGenerateXIString(line, "first", "third");
    const int pid = fork();
    if (pid == 0) _exit(0);
    int status = -1;
    waitpid(pid, &status, 0);
    _exit(gnDebugThreads == 1 && status == 0 && std::string(line).find("-third-Unknown") != std::string::npos ? 0 : 1);
  };
  EXPECT_EXIT(use_after_end(), testing::ExitedWithCode(0), "");
}

}  // namespace
