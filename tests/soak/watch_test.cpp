#include "watch.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include <tests/support/temp_folder.h>
#include <tests/support/waiting.h>
#include <tillvane/core/LSignalObject.h>

namespace {

using soak::Counts;
using soak::Sample;
using soak::Watch;

/// Makes a free semaphore, as this process's locks do. \return its set
int MakeSemaphore() {
  const union {
    int value;
    void* pointer;
  } argument{1};
  const int set = semget(IPC_PRIVATE, 1, IPC_CREAT | 0600);
  semctl(set, 0, SETVAL, argument);
  return set;
}

bool IsThere(int set) { return semctl(set, 0, GETVAL) >= 0; }

class WatchTest : public testing::Test {
 protected:
  Counts Look() const { return watch_.Look().counts; }

  const support::TempFolder folder_;
  Watch watch_{folder_.Path()};
  const Counts before_ = Look();
};

TEST_F(WatchTest, SeesHundredBytesARound) {
  std::vector<std::unique_ptr<char[]>> lost;
  lost.reserve(1000);
  const Sample before = watch_.Look();
  for (int i = 0; i < 1000; ++i) lost.push_back(std::make_unique<char[]>(100));
  EXPECT_EQ(watch_.Look().blocks, before.blocks + 1000);
  EXPECT_GE(watch_.Look().heap, before.heap + 100000);
  lost.clear();
  EXPECT_EQ(watch_.Look().blocks, before.blocks);
  EXPECT_EQ(watch_.Look().heap, before.heap);
}

/// Volatile, so that no compiler takes an allocation away.
void* volatile block;

TEST_F(WatchTest, SeesWhatEveryFunctionAllocates) {
  const std::vector<std::function<void()>> calls = {[] { block = std::malloc(10000); },
                                                    [] { block = std::calloc(100, 100); },
                                                    [] { block = std::realloc(nullptr, 10000); },
                                                    [] { block = std::realloc(std::malloc(10), 10000); },
                                                    [] { block = std::aligned_alloc(64, 10048); },
                                                    [] {
                                                      void* aligned = nullptr;
                                                      EXPECT_EQ(posix_memalign(&aligned, 64, 10000), 0);
                                                      block = aligned;
                                                    },
                                                    [] { block = strdup(std::string(10000, 'x').c_str()); }};
  for (std::size_t i = 0; i < calls.size(); ++i) {
    const Sample at_first = watch_.Look();
    calls[i]();
    const Sample now = watch_.Look();
    EXPECT_EQ(now.blocks, at_first.blocks + 1) << i;
    EXPECT_GE(now.heap, at_first.heap + 10000) << i;
    std::free(block);
    EXPECT_EQ(watch_.Look().blocks, at_first.blocks) << i;
    EXPECT_EQ(watch_.Look().heap, at_first.heap) << i;
  }
}

TEST_F(WatchTest, SeesMemoryOfAnotherThread) {
  const long before = watch_.Look().heap;
  LSignalObject seen, allocated;
  std::thread thread([&] {
    const std::vector<char> much(100000, 'x');
    allocated.Signal();
    seen.WaitSignal(support::kLongMs);
  });
  allocated.WaitSignal(support::kLongMs);
  const long during = watch_.Look().heap;
  seen.Signal();
  thread.join();
  EXPECT_GE(during - before, 100000);
}

TEST_F(WatchTest, SeesResidentMemory) {
  const long before = watch_.Look().resident;
  const std::vector<char> much(64 * 1024 * 1024, 'x');
  EXPECT_GE(watch_.Look().resident - before, 60 * 1024 * 1024);
}

TEST_F(WatchTest, SeesMemoryThatIsMappedOnly) {
  constexpr std::size_t size = 64 * 1024 * 1024;
  const Sample before = watch_.Look();
  // Two that the system does not make one of.
  void* const first = mmap(nullptr, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  const int file = open("/proc/self/exe", O_RDONLY | O_CLOEXEC);
  void* const second = mmap(nullptr, 1, PROT_READ, MAP_SHARED, file, 0);
  close(file);
  const Sample now = watch_.Look();
  munmap(first, size);
  munmap(second, 1);
  EXPECT_GE(now.mapped, before.mapped + static_cast<long>(size));
  EXPECT_GE(now.mappings, before.mappings + 1);
}

TEST_F(WatchTest, SeesADescriptorAndSaysWhatItIs) {
  EXPECT_EQ(watch_.NewDescriptors(), "");
  const int null = open("/dev/null", O_RDONLY | O_CLOEXEC);
  const int zeros[] = {open("/dev/zero", O_RDONLY | O_CLOEXEC), open("/dev/zero", O_RDONLY | O_CLOEXEC)};
  EXPECT_EQ(Look().descriptors, before_.descriptors + 3);
  EXPECT_EQ(watch_.NewDescriptors(), " /dev/null (1) /dev/zero (2)");
  EXPECT_EQ(watch_.NewDescriptors(), "");
  for (const int descriptor : {null, zeros[0], zeros[1]}) close(descriptor);
  EXPECT_EQ(Look(), before_);
}

TEST_F(WatchTest, TakesAFilesSuccessorForTheFile) {
  folder_.Write("ledger-1", "");
  folder_.Write("ledger-2", "");
  int descriptor = open(folder_.File("ledger-1").c_str(), O_RDONLY | O_CLOEXEC);
  EXPECT_NE(watch_.NewDescriptors(), "");
  close(descriptor);
  descriptor = open(folder_.File("ledger-2").c_str(), O_RDONLY | O_CLOEXEC);
  EXPECT_EQ(watch_.NewDescriptors(), "");
  close(descriptor);
}

TEST_F(WatchTest, SeesAThread) {
  LSignalObject seen;
  std::thread thread([&] { seen.WaitSignal(support::kLongMs); });
  EXPECT_EQ(Look().threads, before_.threads + 1);
  seen.Signal();
  thread.join();
  // One that has ended may be seen for a moment.
  EXPECT_TRUE(support::WaitUntil([&] { return Look().threads == before_.threads; }));
}

TEST_F(WatchTest, SeesASemaphoreOfThisProcess) {
  const int set = MakeSemaphore();
  EXPECT_EQ(Look().semaphores, before_.semaphores + 1);
  semctl(set, 0, IPC_RMID);
  EXPECT_EQ(Look(), before_);
}

TEST_F(WatchTest, SeesASemaphoreThatNobodyHasUsed) {
  const int set = semget(IPC_PRIVATE, 1, IPC_CREAT | 0600);
  EXPECT_TRUE(support::WaitUntil([&] { return Look().semaphores == before_.semaphores + 1; }));
  semctl(set, 0, IPC_RMID);
  EXPECT_EQ(Look(), before_);
}

TEST(Watch, RemovesTheSemaphoresOfItsTimeOnly) {
  const int earlier = MakeSemaphore();
  const support::TempFolder folder;
  int own;
  {
    const Watch watch(folder.Path());
    EXPECT_EQ(watch.Look().counts.semaphores, 0);
    own = MakeSemaphore();
  }
  EXPECT_FALSE(IsThere(own));
  EXPECT_TRUE(IsThere(earlier));
  semctl(earlier, 0, IPC_RMID);
}

TEST_F(WatchTest, SeesSharedMemoryOfBothKinds) {
  const int segment = shmget(IPC_PRIVATE, 4096, IPC_CREAT | 0600);
  EXPECT_EQ(Look().shared_memory, before_.shared_memory + 1);
  shmctl(segment, IPC_RMID, nullptr);
  const std::string name = "/tillvane-test-" + std::to_string(getpid());
  const int file = shm_open(name.c_str(), O_RDWR | O_CREAT | O_EXCL, 0600);
  ASSERT_EQ(ftruncate(file, 4096), 0);
  void* const mapped = mmap(nullptr, 4096, PROT_READ, MAP_SHARED, file, 0);
  close(file);
  shm_unlink(name.c_str());
  EXPECT_EQ(Look().shared_memory, before_.shared_memory + 1);
  munmap(mapped, 4096);
  EXPECT_EQ(Look(), before_);
}

TEST_F(WatchTest, SeesAChildThatNobodyWaitedFor) {
  char name[] = "true";
  char* const arguments[] = {name, nullptr};
  pid_t child;
  ASSERT_EQ(posix_spawnp(&child, name, nullptr, nullptr, arguments, environ), 0);
  siginfo_t ended;
  waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOWAIT);
  EXPECT_EQ(Look().children, before_.children + 1);
  waitpid(child, nullptr, 0);
  EXPECT_EQ(Look(), before_);
}

TEST_F(WatchTest, AFolderThatGoesWhileItIsLookedAtIsNoMistake) {
  EXPECT_EQ(Watch(folder_.File("never-there")).Look().counts.files, 0);
  std::atomic<bool> is_over{false};
  std::thread thread([&] {
    while (!is_over) {
      for (int i = 0; i < 10; ++i) mkdir(folder_.File(std::to_string(i)).c_str(), 0700);
      for (int i = 0; i < 10; ++i) rmdir(folder_.File(std::to_string(i)).c_str());
    }
  });
  for (int i = 0; i < 300; ++i) EXPECT_LE(Look().files, before_.files + 10);
  is_over = true;
  thread.join();
  EXPECT_EQ(Look().files, before_.files);
}

TEST_F(WatchTest, SeesAFileInAFolder) {
  ASSERT_EQ(mkdir(folder_.File("folder").c_str(), 0700), 0);
  folder_.Write("folder/file", "");
  EXPECT_EQ(Look().files, before_.files + 2);
}

}  // namespace
