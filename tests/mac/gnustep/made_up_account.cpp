#include "made_up_account.h"

#include <pwd.h>

#include <cerrno>
#include <cstring>

#include <tests/support/temp_folder.h>

namespace {

/// The last to go: Foundation writes what was changed when the program ends.
support::TempFolder& Home() {
  static support::TempFolder folder;
  return folder;
}

/// What every look-up answers.
int FillIn(passwd* record, char* buffer, std::size_t size, passwd** found) {
  const std::string home = MadeUpHome();
  *found = nullptr;
  if (size <= home.size()) return ERANGE;
  std::memcpy(buffer, home.c_str(), home.size() + 1);
  *record = passwd{};
  record->pw_dir = buffer;
  for (char** text : {&record->pw_name, &record->pw_passwd, &record->pw_gecos, &record->pw_shell}) {
    *text = buffer + home.size();
  }
  *found = record;
  return 0;
}

}  // namespace

std::string MadeUpHome() { return Home().Path(); }

// These stand before the C library's own, for other libraries too.
#pragma GCC visibility push(default)
extern "C" {

int getpwnam_r(const char*, passwd* record, char* buffer, std::size_t size, passwd** found) {
  return FillIn(record, buffer, size, found);
}

int getpwuid_r(uid_t, passwd* record, char* buffer, std::size_t size, passwd** found) {
  return FillIn(record, buffer, size, found);
}
}
#pragma GCC visibility pop
