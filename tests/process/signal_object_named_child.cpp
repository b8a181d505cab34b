// Another process at a named signal: `signal_object_named_child COMMAND NAME`. It says what became of it.
//
// wait         waits without a limit, with a mask of 0
// wait-masked  the same with a mask that leaves its owner alone
// signal       signals until it is ended
// signal-as-nobody  signals once as a user who has no rights, and says what connecting to the path answers him

#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

#include <tests/support/local_sockets.h>
#include <tillvane/core/LSignalObjectNamed.h>
#include <tillvane/files/LFile.h>

namespace {

int Wait(const std::string& name, mode_t mask) {
  umask(mask);
  LSignalObjectNamed waiting(name.c_str());
  const bool received = waiting.WaitSignal(0xFFFFFFFF);
  std::puts(received ? "received" : strerrorname_np(errno));
  return received ? 0 : 1;
}

int SignalForEver(const std::string& name) {
  for (LSignalObjectNamed signaller(name.c_str());; support::SleepMs(1)) signaller.Signal();
}

int SignalAsNobody(const std::string& name) {
  constexpr unsigned int nobody = 65534;
  if (setgroups(0, nullptr) != 0 || setgid(nobody) != 0 || setuid(nobody) != 0) return 2;
  LSignalObjectNamed(name.c_str()).Signal();
  char path[260];
  LFile::GetUserDataFolder(path);
  const int error = support::ErrorOfConnecting(std::string(path) + '/' + name);
  std::puts(error == 0 ? "connected" : strerrorname_np(error));
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 99;
  const std::string command = argv[1], name = argv[2];
  if (command == "wait") return Wait(name, 0);
  if (command == "wait-masked") return Wait(name, 0077);
  if (command == "signal") return SignalForEver(name);
  if (command == "signal-as-nobody") return SignalAsNobody(name);
  return 99;
}
