// An application in a place of its own, on a desktop of the test's own: does what its arguments say, and writes what it
// saw as "NAME VALUE", a line each.
//
// bundle
//   what it is told about its bundle
//
// reveal PATH [TIMES]
//   reveals a file, so many times; a few more descriptors stay open after the first time
//
// reveal-without-descriptors PATH
//   the same, while there are none left
//
// reveal-in-a-child PATH
//   reveals a file, then again in a process that it forked
//
// contacts
//   opens the address book, with a umask of 0, which is a host's after its start-up
//
// contacts-without-descriptors
//   the same, while there are none left

#include <fcntl.h>
#include <glib.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <type_traits>
#include <vector>

#include <tests/support/open_descriptors.h>
#include <tests/support/waiting.h>
#include <tillvane/tillvane.h>

namespace {

template <class Value>
void Say(const char* name, const Value& value) {
  if constexpr (std::is_convertible_v<Value, std::string>) {
    std::printf("%s %s\n", name, std::string(value).c_str());
  } else {
    std::printf("%s %lld\n", name, static_cast<long long>(value));
  }
  std::fflush(stdout);
}

void TellOfBundle() {
  const support::OpenDescriptors before = support::ListOpenDescriptors();
  Say("bundled", LIsApplicationBundled());
  char path[260];
  LGetInstalledApplicationResourcesFolder(path, sizeof path);
  Say("resources", path);
  LGetInstalledApplicationNestedResourcesFolder(path);
  Say("nested", path);
  int major = -77, minor = -78;
  const LCFBundle bundle;
  Say("has-version", bundle.GetVersionNumber(major, minor));
  Say("version", std::to_string(major) + ' ' + std::to_string(minor));
  Say("opened", support::DescribeChanges(before, support::ListOpenDescriptors()));
}

void Reveal(const char* path) {
  const support::Stopwatch watch;
  Say("revealed", LRevealInFinder(path));
  Say("ms", watch.Ms());
}

void RevealOften(const char* path, int times) {
  bool turned = false;
  g_idle_add_full(
      G_PRIORITY_HIGH,
      [](gpointer data) {
        *static_cast<bool*>(data) = true;
        return G_SOURCE_REMOVE;
      },
      &turned, nullptr);
  // The host's own choice, and not the one that the library makes when it is loaded.
  signal(SIGPIPE, SIG_DFL);
  Reveal(path);
  const support::OpenDescriptors before = support::ListOpenDescriptors();
  for (int i = 1; i < times; ++i) Reveal(path);
  // A thread of GLib's lets go of a request's context a moment after it has answered, of the first one's too.
  support::OpenDescriptors after;
  support::WaitUntil([&] { return (after = support::ListOpenDescriptors()).size() <= before.size(); });
  Say("opened", after.size() <= before.size() ? "" : support::DescribeChanges(before, after));
  Say("turned", turned);
  struct sigaction action = {};
  sigaction(SIGPIPE, nullptr, &action);
  Say("sigpipe", action.sa_handler == SIG_DFL ? "default" : "other");
}

void RevealInAChild(const char* path) {
  Reveal(path);
  const pid_t child = fork();
  if (child == 0) {
    Reveal(path);
    _exit(0);
  }
  int status = -1;
  waitpid(child, &status, 0);
  Say("child", status);
}

/// Does something while all descriptors are taken but so many.
void WithoutDescriptors(int left, const std::function<void()>& something) {
  std::vector<int> taken;
  for (int descriptor; (descriptor = open("/dev/null", O_RDONLY | O_CLOEXEC)) >= 0;) taken.push_back(descriptor);
  for (; left > 0; --left) {
    close(taken.back());
    taken.pop_back();
  }
  something();
  for (const int descriptor : taken) close(descriptor);
}

void OpenContacts() {
  const support::Stopwatch watch;
  Say("status", LOpenAddressBook());
  Say("ms", watch.Ms());
}

}  // namespace

int main(int count, char** arguments) {
  const std::string command = count > 1 ? arguments[1] : "";
  const char* const path = count > 2 ? arguments[2] : "";
  if (command == "bundle") {
    TellOfBundle();
  } else if (command == "reveal") {
    RevealOften(path, count > 3 ? std::atoi(arguments[3]) : 1);
  } else if (command == "reveal-without-descriptors") {
    for (int left = 0; left < 24; ++left) WithoutDescriptors(left, [=] { Reveal(path); });
  } else if (command == "reveal-in-a-child") {
    RevealInAChild(path);
  } else if (command == "contacts") {
    umask(0);
    OpenContacts();
    Say("session", getsid(0));
    const mode_t mask = umask(0);
    Say("umask", mask);
  } else if (command == "contacts-without-descriptors") {
    for (int left = 0; left < 24; ++left) WithoutDescriptors(left, OpenContacts);
  } else {
    return 2;
  }
  return 0;
}
