#include "programs.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace bench {

bool RunProgram(const std::vector<std::string>& command) {
  std::vector<char*> arguments;
  for (const std::string& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t child = -1;
  const bool is_started = posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ) == 0;
  posix_spawn_file_actions_destroy(&actions);
  int status = 0;
  return is_started && waitpid(child, &status, 0) == child && status == 0;
}

Workshop::Workshop() {
  const char* const parent = std::getenv("TMPDIR");
  path_ = std::string(parent != nullptr && *parent == '/' ? parent : "/tmp") + "/tillvane-bench-XXXXXX";
  if (mkdtemp(path_.data()) == nullptr) path_.clear();
}

Workshop::~Workshop() {
  std::error_code ignored;
  if (IsThere()) std::filesystem::remove_all(path_, ignored);
}

}  // namespace bench
