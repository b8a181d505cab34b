// Another process among files: does what its arguments say, and writes a line when it has come so far.
//
// copy SOURCE DESTINATION
//   copies with progress, and stands still before the third piece until it is ended
//
// lock FILE
//   locks beside a file; SIGUSR1 ends it
//
// empty FOLDER
//   deletes everything in a folder, again and again, until it is ended
//
// full SOURCE FOLDER
//   copies to a full disk: a file system of 1 MiB mounted on the folder, in a namespace of its own; exit code 77 where
//   that may not be done

#include <dirent.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>

#include <tillvane/core/LProcessInterface.h>
#include <tillvane/files/LFile.h>
#include <tillvane/files/LLockFile.h>
#include <tillvane/files/LProcessCopyFile.h>

namespace {

void Tell(const char* line) {
  std::puts(line);
  std::fflush(stdout);
}

class StandsStill : public LProcessInterfaceVoid {
 public:
  bool IsToStop() override {
    if (++asked_ < 3) return false;
    Tell("third");
    for (;;) pause();
  }

 private:
  int asked_ = 0;
};

class Counter : public LProcessInterfaceVoid {
 public:
  void SetProgress(double) override { ++reports; }
  int reports = 0;
};

int Copy(const char* source, const char* destination) {
  StandsStill process;
  return Process(process, {source, destination});
}

int Lock(const char* path) {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGUSR1);
  sigprocmask(SIG_BLOCK, &signals, nullptr);
  LLockFile lock;
  Tell(lock.Lock(path) == 1 && lock.filedes >= 0 ? "locked" : "not locked");
  int number = 0;
  sigwait(&signals, &number);
  return 0;
}

int Empty(const std::string& folder) {
  Tell("ready");
  for (;;) {
    DIR* const stream = opendir(folder.c_str());
    if (stream == nullptr) continue;
    while (const dirent* const entry = readdir(stream)) unlinkat(dirfd(stream), entry->d_name, 0);
    closedir(stream);
  }
}

std::size_t CountEntries(const char* folder) {
  std::size_t count = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::recursive_directory_iterator(folder)) ++count;
  return count;
}

int Fill(const char* source, const char* folder) {
  constexpr int no_right = 77;
  if (unshare(CLONE_NEWNS) != 0 || mount("", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return no_right;
  if (mount("none", folder, "tmpfs", 0, "size=1m") != 0) return no_right;
  const std::string copy = std::string(folder) + "/copy";
  Counter process;
  const int result = Process(process, {source, copy.c_str()});
  std::printf("%d after %d reports, %s\n", result, process.reports, std::strerror(errno));
  std::printf("%d, %s\n", LFile::CopyFile(source, copy.c_str()), std::strerror(errno));
  std::printf("%zu left\n", CountEntries(folder));
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string command = argc > 2 ? argv[1] : "";
  if (command == "copy" && argc == 4) return Copy(argv[2], argv[3]);
  if (command == "lock") return Lock(argv[2]);
  if (command == "empty") return Empty(argv[2]);
  if (command == "full" && argc == 4) return Fill(argv[2], argv[3]);
  std::fprintf(stderr, "folders_child: no such command\n");
  return 2;
}
