#include <tillvane/platform/process_table.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <tillvane/platform/linux/process_walk_linux.h>

namespace platform {

namespace {

enum class Name { kRead, kNone, kFailed };

/// The process is gone, or none of ours to look at; everything else says that no process can be read.
Name NameAfterError() {
  const bool is_its_own = errno == ENOENT || errno == ESRCH || errno == EACCES || errno == EPERM;
  return is_its_own ? Name::kNone : Name::kFailed;
}

Name ReadName(int folder, const char* number, char (&name)[16]) {
  char path[sizeof(dirent64::d_name) + sizeof "/comm"];
  stpcpy(stpcpy(path, number), "/comm");
  const int file = openat(folder, path, O_RDONLY | O_CLOEXEC);
  if (file < 0) return NameAfterError();
  const ssize_t size = read(file, name, sizeof name);
  const Name result = size > 0 ? Name::kRead : size == 0 ? Name::kNone : NameAfterError();
  close(file);
  // What ends it is a line feed of the kernel's, which a kernel thread's longer name has not come to yet: either goes.
  if (result == Name::kRead) name[size - 1] = '\0';
  return result;
}

}  // namespace

// The kernel counts a process as a link of the folder. In a container it counts all of the machine's.
unsigned long ProcessTableSize() {
  struct stat status;
  return stat("/proc", &status) == 0 ? static_cast<unsigned long>(status.st_nlink) : 0;
}

ProcessTable ReadProcessTable(kinfo_proc* records, unsigned long room, unsigned long& count) {
  count = 0;
  ProcessWalk walk;
  while (const char* const number = walk.Next()) {
    if (count >= room) {
      ++count;
      continue;
    }
    auto& record = records[count].kp_proc;
    const Name name = ReadName(walk.Folder(), number, record.p_comm);
    if (name == Name::kFailed) return ProcessTable::kFailed;
    if (name == Name::kNone) continue;
    record.p_pid = std::atoi(number);
    ++count;
  }
  if (walk.HasFailed()) return ProcessTable::kFailed;
  return count > room ? ProcessTable::kTooLarge : ProcessTable::kRead;
}

}  // namespace platform
