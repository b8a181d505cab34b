// Asks about volumes in a place of its own. What its arguments say is done in order:
//
//   private             from here on it has mounts of its own, which end with it
//   tmpfs AT            mounts one
//   fuse TYPE SOURCE AT mounts a file system that never answers
//   loop IMAGE AT       mounts an image file
//   make FOLDER         makes it
//   proc AT             shows /proc there
//   root FOLDER         makes it the root, and the current directory
//   fill AT             makes folders and links: AT/folder/file, AT/folder/link to it
//   closed              from here on it opens no descriptor
//   enter FOLDER        makes it the current directory
//   deeper COUNT        makes so many folders of 200 characters, each in the other, and enters them
//   nobody              loses the administrator's rights
//   ask PATH            a line of what LFile tells of the volume
//   exists PATH         a line of what LFile tells of the file
//   device MAJOR MINOR  a line of what is told of a block device: attributes and kind of a FAT file system
//   btrfs SOURCE        a line of the attributes of a btrfs volume with this device
//
// Ends with 77, and says why, when this machine does not let it.

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <tillvane/diag/signal_handlers.h>
#include <tillvane/files/LFile.h>
#include <tillvane/platform/linux/volume_linux.h>

namespace {

constexpr int kCannotBeDoneHere = 77;

[[noreturn]] void GiveUp(const char* what) {
  std::printf("%s: %s\n", what, std::strerror(errno));
  std::fflush(stdout);
  _exit(kCannotBeDoneHere);
}

void MakePrivate() {
  if (unshare(CLONE_NEWNS) != 0) GiveUp("mounts of its own");
  if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) GiveUp("mounts that nobody else sees");
}

void MountTmpfs(const char* at) {
  if (mount("tmpfs", at, "tmpfs", 0, "size=1m") != 0) GiveUp("mounting a tmpfs");
}

void ShowProc(const char* at) {
  if (mount("/proc", at, nullptr, MS_BIND, nullptr) != 0) GiveUp("showing /proc");
}

void ChangeRoot(const char* folder) {
  if (chroot(folder) != 0 || chdir("/") != 0) GiveUp("another root");
}

void MountDead(const char* type, const char* source, const char* at) {
  // Open until the end, and never read.
  const int server = open("/dev/fuse", O_RDWR | O_CLOEXEC);
  if (server < 0) GiveUp("/dev/fuse");
  const std::string options = "fd=" + std::to_string(server) + ",rootmode=40000,user_id=0,group_id=0";
  if (mount(source, at, type, 0, options.c_str()) != 0) GiveUp("mounting a file system in user space");
}

void MountImage(const char* image, const char* at) {
  std::fflush(stdout);
  const pid_t child = fork();
  if (child == 0) {
    dup2(1, 2);
    execlp("mount", "mount", "-o", "loop", image, at, nullptr);
    _exit(127);
  }
  int status = 0;
  waitpid(child, &status, 0);
  // It said why.
  if (status != 0) _exit(kCannotBeDoneHere);
}

void Fill(const std::string& at) {
  mkdir((at + "/folder").c_str(), 0700);
  close(open((at + "/folder/file").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
  if (symlink("file", (at + "/folder/link").c_str()) != 0) GiveUp("a link");
}

void OpenNoMore() {
  const rlimit none{0, 0};
  if (setrlimit(RLIMIT_NOFILE, &none) != 0) GiveUp("a limit of descriptors");
}

void GoDeeper(int count) {
  const std::string name(200, 'x');
  for (; count > 0; --count) {
    if (mkdir(name.c_str(), 0700) != 0 || chdir(name.c_str()) != 0) GiveUp("a deep folder");
  }
}

void BecomeNobody() {
  constexpr uid_t nobody = 65534;
  if (setresuid(nobody, nobody, nobody) != 0) GiveUp("another user");
}

void Ask(const char* path) {
  char drive[260];
  LFile::GetHumanReadableDriveFromPath(drive, path);
  std::printf("%x%s%s%s%s id %04x limit %d drive %s\n", LFile::GetVolumeAttributes(path),
              LFile::IsOnExternalDrive(path) ? " external" : "", LFile::IsOnRemovableMedia(path) ? " removable" : "",
              LFile::IsNetworkPath(path) ? " network" : "", LFile::IsOnLocalDrive(path) ? " local" : "",
              LFile::GetVolumeFileSystemID(path), LFile::GetVolumeFileSizeLimit(path), drive);
}

void AskDevice(unsigned int major, unsigned int minor) {
  platform::Mount mount;
  mount.type = "vfat";
  mount.major = major;
  mount.minor = minor;
  std::printf("%x %s\n", platform::MountAttributes(mount), platform::MountFileSystemName(mount).c_str());
}

void AskBtrfs(const char* source) {
  platform::Mount mount;
  mount.type = "btrfs";
  mount.source = source;
  std::printf("%x\n", platform::MountAttributes(mount));
}

/// \return how many arguments it took
int Do(char** arguments) {
  const std::string command = arguments[0];
  if (command == "private") return MakePrivate(), 1;
  if (command == "tmpfs") return MountTmpfs(arguments[1]), 2;
  if (command == "make") return mkdir(arguments[1], 0700) == 0 ? 2 : (GiveUp("a folder"), 2);
  if (command == "proc") return ShowProc(arguments[1]), 2;
  if (command == "root") return ChangeRoot(arguments[1]), 2;
  if (command == "fuse") return MountDead(arguments[1], arguments[2], arguments[3]), 4;
  if (command == "loop") return MountImage(arguments[1], arguments[2]), 3;
  if (command == "fill") return Fill(arguments[1]), 2;
  if (command == "closed") return OpenNoMore(), 1;
  if (command == "enter") return LFile::SetCurrentDirectory(arguments[1]) == 0 ? 2 : (GiveUp("chdir"), 2);
  if (command == "deeper") return GoDeeper(std::atoi(arguments[1])), 2;
  if (command == "nobody") return BecomeNobody(), 1;
  if (command == "ask") return Ask(arguments[1]), 2;
  if (command == "exists") return std::puts(LFile::TestFileExists(arguments[1]) ? "there" : "missing"), 2;
  if (command == "device") {
    return AskDevice(static_cast<unsigned int>(std::atoi(arguments[1])),
                     static_cast<unsigned int>(std::atoi(arguments[2]))),
           3;
  }
  if (command == "btrfs") return AskBtrfs(arguments[1]), 2;
  std::fprintf(stderr, "no such command: %s\n", command.c_str());
  _exit(2);
}

}  // namespace

int main(int, char** arguments) {
  diag::RestoreSignalHandlers();
  // Whatever a sanitizer misses at the end, when nothing opens any more.
  std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
  for (++arguments; *arguments != nullptr;) arguments += Do(arguments);
  return 0;
}
