#include <sys/wait.h>

#include <cstdlib>

#include <tillvane/system/LCommandLineProcess.h>

bool RunCommandLineProcess(const char* command) {
  const int status = std::system(command);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}
