#include <tillvane/platform/posix/account_posix.h>

#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <vector>

#include <tillvane/platform/known_folders.h>

namespace platform {

namespace {

/// A text of the user's account, empty when there is none.
std::string AccountText(char* passwd::*text) {
  constexpr std::size_t kMaximumEntry = std::size_t{1024} * 1024;
  std::vector<char> buffer(1024);
  passwd entry;
  passwd* found = nullptr;
  int error;
  // A directory service may want more room, or be interrupted.
  while ((error = getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found)) != 0 &&
         (error == ERANGE || error == EINTR) && buffer.size() < kMaximumEntry) {
    buffer.resize(buffer.size() * 2);
  }
  return error == 0 && found != nullptr && found->*text != nullptr ? found->*text : std::string();
}

}  // namespace

std::string AccountHome() { return AccountText(&passwd::pw_dir); }

std::string AccountName() { return AccountText(&passwd::pw_name); }

}  // namespace platform
