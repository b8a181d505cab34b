#include <fcntl.h>
#include <grp.h>
#include <linux/securebits.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include <tillvane/system/LUser.h>

// Steps in the order of the arguments, each said on a line: what has been given up cannot be tried in a test's own
// process.

namespace {

/// The lines of the system's own account of this process that say whose it is, in one.
std::string WhoThisIs() {
  std::ifstream status("/proc/self/status");
  std::string text;
  for (std::string line; std::getline(status, line);) {
    if (line.rfind("Uid:", 0) != 0 && line.rfind("Gid:", 0) != 0 && line.rfind("Groups:", 0) != 0) continue;
    for (char& c : line) c = c == '\t' ? ' ' : c;
    line.resize(line.find_last_not_of(' ') + 1);
    text += (text.empty() ? "" : ", ") + line;
  }
  return text;
}

bool CanOpen(const char* path) {
  const int file = open(path, O_RDONLY | O_CLOEXEC);
  if (file >= 0) close(file);
  return file >= 0;
}

int Step(const std::string& step) {
  constexpr uid_t kNobody = 65534;
  const gid_t groups[] = {0, 4, 27};
  if (step == "to-user") return LSwitchToUser();
  if (step == "to-root") return LSwitchToRoot();
  if (step == "is-administrator") return LIsUserAdministrator() && LIsUserRunningAsAdministrator();
  if (step == "is-root") return LIsUserRoot();
  if (step == "take-groups") return setgroups(3, groups);
  if (step == "become-nobody") return setuid(kNobody);
  if (step == "act-as-nobody") return seteuid(kNobody);
  if (step == "lend-to-nobody") return setresuid(kNobody, kNobody, 0);
  if (step == "keep-rights") return prctl(PR_SET_SECUREBITS, SECBIT_NO_SETUID_FIXUP);
  if (step == "setuid-0") return setuid(0);
  if (step == "seteuid-0") return seteuid(0);
  if (step == "setresuid-0") return setresuid(0, 0, 0);
  if (step == "setgid-0") return setgid(0);
  if (step == "setgroups-0") return setgroups(1, groups);
  if (step == "read-shadow") return CanOpen("/etc/shadow");
  return 100;
}

}  // namespace

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    const std::string step = argv[i];
    if (step == "who") {
      std::printf("%s\n", WhoThisIs().c_str());
    } else {
      std::printf("%s %d\n", argv[i], Step(step));
    }
  }
  return 0;
}
