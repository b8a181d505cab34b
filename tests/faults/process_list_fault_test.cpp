// A table of processes that cannot be read, or not whole, or not at once, and a lock that cannot be had. The
// definitions here take the place of the C library's for everything that is linked into this program; no semaphore is
// made.

#include <dirent.h>
#include <fcntl.h>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/faults.h>
#include <tests/support/next_definition.h>
#include <tillvane/core/system_lock_key.h>
#include <tillvane/system/LProcessList.h>

namespace {

using support::Next;

int FailWith(int error) {
  errno = error;
  return -1;
}

// What a call does instead, while it is set.
support::Replacement<int(const char*path)> on_open{"open"}, on_openat{"openat"};
support::Replacement<ssize_t(int descriptor, void* entries, size_t size)> on_getdents64{"getdents64"};
support::Replacement<ssize_t(int descriptor)> on_read{"read"};
support::Replacement<int(int set, int command)> on_semctl{"semctl"};
support::Replacement<int(const sembuf& operation)> on_semop{"semop"};
int semget_answer = -1;
std::optional<unsigned int> links;  // of /proc; 0 when it cannot be asked
int sleeps = 0;

mode_t Mode(int flags, va_list arguments) {
  return (flags & O_CREAT) != 0 ? static_cast<mode_t>(va_arg(arguments, int)) : 0;
}

}  // namespace

extern "C" {

int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = Mode(flags, arguments);
  va_end(arguments);
  return on_open ? on_open(path) : Next(&open, "open")(path, flags, mode);
}

int openat(int folder, const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = Mode(flags, arguments);
  va_end(arguments);
  const int answer = on_openat ? on_openat(path) : 0;
  return answer != 0 ? answer : Next(&openat, "openat")(folder, path, flags, mode);
}

ssize_t read(int descriptor, void* bytes, size_t size) {
  const ssize_t answer = on_read ? on_read(descriptor) : 1;
  return answer <= 0 ? answer : Next(&read, "read")(descriptor, bytes, size);
}

ssize_t getdents64(int descriptor, void* entries, size_t size) noexcept {
  return on_getdents64 ? on_getdents64(descriptor, entries, size)
                       : Next(&getdents64, "getdents64")(descriptor, entries, size);
}

int stat(const char* path, struct stat* status) noexcept {
  const int answer = Next(&stat, "stat")(path, status);
  if (!links.has_value() || std::strcmp(path, "/proc") != 0) return answer;
  status->st_nlink = *links;
  return *links == 0 ? FailWith(ENOENT) : answer;
}

int semget(key_t key, int, int) noexcept {
  EXPECT_EQ(key, core::SystemLockKey("UID"));
  return semget_answer >= 0 ? semget_answer : FailWith(ENOSYS);
}

int semctl(int set, int, int command, ...) noexcept { return on_semctl ? on_semctl(set, command) : FailWith(ENOSYS); }

int semop(int, sembuf* operations, size_t) noexcept { return on_semop ? on_semop(*operations) : FailWith(ENOSYS); }

int nanosleep(const timespec*, timespec*) {
  ++sleeps;
  return 0;
}

}  // extern "C"

namespace {

/// What all of these have in common: everything is as it was afterwards.
class ProcessListFaults : public testing::Test {
 protected:
  ~ProcessListFaults() override {
    on_open = on_openat = {};
    on_getdents64 = {};
    on_read = {};
    on_semctl = {};
    on_semop = {};
    semget_answer = -1;
    links.reset();
    sleeps = 0;
    gGuiUid = -1;
  }
};

/// The list by numbers; nothing when there is no list, and then no count.
std::optional<std::map<int, std::string>> List() {
  kinfo_proc* list = reinterpret_cast<kinfo_proc*>(1);
  const unsigned int count = LGetBSDProcessList(&list);
  if (list == nullptr) {
    EXPECT_EQ(count, 0u);
    return {};
  }
  std::map<int, std::string> processes;
  for (unsigned int i = 0; i < count; ++i) processes[list[i].kp_proc.p_pid] = list[i].kp_proc.p_comm;
  EXPECT_EQ(processes.size(), count);
  std::free(list);
  return processes;
}

/// Of every question, when nothing can be read.
void ExpectNoAnswers() {
  EXPECT_FALSE(List().has_value());
  EXPECT_EQ(LGetBSDProcessUid("sh"), -1);
  EXPECT_FALSE(LIsApplicationRunning("sh"));
  EXPECT_EQ(LGetProcessUid("sh"), -1);
}

TEST_F(ProcessListFaults, WithoutATableThereIsNoAnswer) {
  links = 0;
  ExpectNoAnswers();
  links.reset();
  for (const int error : {EMFILE, ENFILE, ENOENT, EACCES, ENOMEM}) {
    SCOPED_TRACE(error);
    on_open = [&](const char*) { return FailWith(error); };
    ExpectNoAnswers();
    ProcessSerialNumber number{7, 8};
    EXPECT_FALSE(LGetPSNFromSignature(0x3F3F3F3F, 0x4150504C, &number));
    EXPECT_EQ(number.highLongOfPSN | number.lowLongOfPSN, 0u);
  }
}

TEST_F(ProcessListFaults, ATableThatBreaksOffIsNone) {
  for (const int good_reads : {0, 1}) {
    for (const int error : {EIO, ENOMEM, EINTR, ENOENT}) {
      SCOPED_TRACE(testing::Message() << error << " after " << good_reads);
      int reads = 0;
      on_getdents64 = [&](int descriptor, void* entries, size_t size) {
        return reads++ % (good_reads + 1) == good_reads
                   ? FailWith(error)
                   : Next(&getdents64, "getdents64")(descriptor, entries, std::min<size_t>(size, 512));
      };
      ExpectNoAnswers();
      ProcessSerialNumber number{7, 8};
      EXPECT_FALSE(LGetPSNFromSignature(1, 2, &number));
    }
  }
}

TEST_F(ProcessListFaults, AProcessThatIsGoneOrHiddenIsLeftOut) {
  const auto all = List();
  ASSERT_TRUE(all.has_value());
  ASSERT_TRUE(all->contains(getpid()));
  const std::string own_name = std::to_string(getpid()) + "/comm";
  for (const int error : {ENOENT, ESRCH, EACCES, EPERM}) {
    SCOPED_TRACE(error);
    on_openat = [&](const char* path) { return path == own_name ? FailWith(error) : 0; };
    const auto others = List();
    ASSERT_TRUE(others.has_value());
    EXPECT_FALSE(others->contains(getpid()));
    EXPECT_TRUE(others->contains(1));
  }
  // It ends between the two calls, or reads as nothing.
  for (const int error : {ESRCH, EACCES, EPERM, 0}) {
    SCOPED_TRACE(error);
    int own_file = -1;
    on_openat = [&](const char* path) {
      if (path == own_name) own_file = Next(&openat, "openat")(AT_FDCWD, "/dev/null", O_RDONLY | O_CLOEXEC, 0);
      return path == own_name ? own_file : 0;
    };
    on_read = [&](int descriptor) -> ssize_t {
      if (descriptor != own_file) return 1;
      own_file = -1;
      return error == 0 ? 0 : FailWith(error);
    };
    const auto others = List();
    ASSERT_TRUE(others.has_value());
    EXPECT_FALSE(others->contains(getpid()));
    EXPECT_TRUE(others->contains(1));
  }
}

TEST_F(ProcessListFaults, NamesThatCannotBeReadAtAllAreNoTable) {
  for (const int error : {EMFILE, ENFILE, ENOMEM, EIO}) {
    SCOPED_TRACE(error);
    on_openat = [&](const char*) { return FailWith(error); };
    ExpectNoAnswers();
    on_openat = {};
    on_read = [&](int) { return FailWith(error); };
    ExpectNoAnswers();
    on_read = {};
  }
}

/// A table of as many made-up processes as one likes, each time anew, all of them with this process's name or another.
class MadeUpTable {
 public:
  /// \param sizes what the table has each time it is read; the last one from then on
  explicit MadeUpTable(std::vector<int> sizes) : sizes_(std::move(sizes)) {
    on_getdents64 = [this](int, void* entries, size_t size) { return Fill(static_cast<char*>(entries), size); };
    on_openat = [this](const char*) {
      const int file = memfd_create("name", MFD_CLOEXEC);
      EXPECT_EQ(write(file, name.data(), name.size()), static_cast<ssize_t>(name.size()));
      lseek(file, 0, SEEK_SET);
      return file;
    };
  }

  int Times() const { return times_; }
  std::string name = "name\n";

 private:
  ssize_t Fill(char* entries, size_t size) {
    const int count = sizes_[std::min(static_cast<std::size_t>(times_), sizes_.size() - 1)];
    char* to = entries;
    for (; told_ < count && to + sizeof(dirent64) <= entries + size; ++told_) {
      auto* const entry = reinterpret_cast<dirent64*>(to);
      entry->d_reclen = 32;
      // Beyond what there can be.
      std::snprintf(entry->d_name, 13, "%d", 10000000 + told_);
      to += entry->d_reclen;
    }
    if (to == entries) {
      told_ = 0;
      ++times_;
    }
    return to - entries;
  }

  std::vector<int> sizes_;
  int told_ = 0;
  int times_ = 0;
};

TEST_F(ProcessListFaults, ATableThatGrowsIsReadAgain) {
  struct Case {
    unsigned int links;
    std::vector<int> sizes;
    int times;
  };
  const Case cases[] = {
      {100, {100}, 1},
      {101, {100}, 1},
      {99, {100}, 2},
      {1, {100}, 2},
      {1, {3, 200, 300, 301}, 4},
      // A tenth more is within what it may grow meanwhile.
      {1, {100, 110}, 2},
      {1, {1000, 1100, 2000}, 2},
      {1, {0}, 1},
      {1, {2, 0}, 2},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(testing::Message() << one.links << " of " << testing::PrintToString(one.sizes));
    links = one.links;
    const MadeUpTable table(one.sizes);
    const auto processes = List();
    ASSERT_TRUE(processes.has_value());
    EXPECT_EQ(table.Times(), one.times);
    const std::size_t last = std::min(one.sizes.size(), static_cast<std::size_t>(table.Times())) - 1;
    EXPECT_EQ(processes->size(), static_cast<std::size_t>(one.sizes[last]));
  }
}

TEST_F(ProcessListFaults, ALongNameIsCut) {
  MadeUpTable table({1});
  struct Case {
    const char *name, *record;
  };
  // The kernel's own threads have more to say.
  for (const Case& one :
       {Case{"kworker/u16:3-events_unbound_and_more_than_sixty_four_bytes_of_it\n", "kworker/u16:3-e"},
        Case{"0123456789abcde\n", "0123456789abcde"}, Case{"0123456789abcdef\n", "0123456789abcde"},
        Case{"0123456789abcd\n", "0123456789abcd"}, Case{"\n", ""}, Case{"\n\n", "\n"}}) {
    table.name = one.name;
    const auto processes = List();
    ASSERT_TRUE(processes.has_value());
    EXPECT_EQ(processes->begin()->second, one.record);
  }
}

// --- The process that is remembered, and its lock ---

class RememberedProcessFaults : public ProcessListFaults {
 protected:
  static constexpr int kSet = 4711;

  void SetUp() override {
    const auto all = List();
    ASSERT_TRUE(all.has_value());
    name_ = all->at(getpid());
    semget_answer = kSet;
    on_semctl = [this](int set, int command) {
      EXPECT_EQ(set, kSet);
      if (command == IPC_RMID) ++removals_;
      return 0;
    };
  }

  std::string name_;
  int removals_ = 0;
};

TEST_F(RememberedProcessFaults, IsStoredWhileTheLockIsHeld) {
  std::vector<std::pair<int, bool>> changes;  // of the semaphore, and whether the process was remembered then
  on_semop = [&](const sembuf& operation) {
    changes.emplace_back(operation.sem_op, gGuiUid >= 0);
    return 0;
  };
  const int process = LGetProcessUid(name_.c_str());
  EXPECT_GT(process, 0);
  EXPECT_EQ(gGuiUid, process);
  EXPECT_EQ(changes, (std::vector<std::pair<int, bool>>{{-1, false}, {1, true}}));
  // From here on it is the answer, and nothing is asked.
  EXPECT_EQ(LGetProcessUid("no such process"), process);
  EXPECT_EQ(changes.size(), 2u);
  EXPECT_EQ(removals_, 0);
}

TEST_F(RememberedProcessFaults, NoneIsStoredAndSearchedForAgain) {
  int changes = 0;
  on_semop = [&](const sembuf&) {
    ++changes;
    return 0;
  };
  gGuiUid = -2;
  EXPECT_EQ(LGetProcessUid("no such process"), -1);
  EXPECT_EQ(gGuiUid, -1);
  EXPECT_GT(LGetProcessUid(name_.c_str()), 0);
  EXPECT_EQ(changes, 4);
}

TEST_F(RememberedProcessFaults, ZeroIsRemembered) {
  gGuiUid = 0;
  EXPECT_EQ(LGetProcessUid(name_.c_str()), 0);
}

TEST_F(RememberedProcessFaults, TheAnswerComesWithoutALockToo) {
  semget_answer = -1;
  EXPECT_GT(LGetProcessUid(name_.c_str()), 0);
  EXPECT_EQ(gGuiUid, -1);
  EXPECT_EQ(removals_, 0);
}

TEST_F(RememberedProcessFaults, ALockThatCannotBeTakenIsRemoved) {
  for (const int error : {EIDRM, ENOSPC, ERANGE, EACCES, EINTR}) {
    SCOPED_TRACE(error);
    removals_ = 0;
    on_semop = [&](const sembuf&) { return FailWith(error); };
    EXPECT_GT(LGetProcessUid(name_.c_str()), 0);
    EXPECT_EQ(gGuiUid, -1);
    EXPECT_EQ(removals_, 1);
    EXPECT_EQ(sleeps, 0);
  }
}

TEST_F(RememberedProcessFaults, ALockThatSomebodyHoldsIsWaitedFor) {
  int attempts = 0;
  on_semop = [&](const sembuf& operation) { return operation.sem_op < 0 && ++attempts < 20 ? FailWith(EAGAIN) : 0; };
  const int process = LGetProcessUid(name_.c_str());
  EXPECT_EQ(gGuiUid, process);
  EXPECT_EQ(attempts, 20);
  EXPECT_EQ(removals_, 0);
}

TEST_F(RememberedProcessFaults, ALockThatIsHeldForSecondsIsRemoved) {
  on_semop = [](const sembuf&) { return FailWith(EAGAIN); };
  EXPECT_GT(LGetProcessUid(name_.c_str()), 0);
  EXPECT_EQ(gGuiUid, -1);
  EXPECT_EQ(removals_, 1);
  // Ten milliseconds each.
  EXPECT_EQ(sleeps, 500);
}

}  // namespace
