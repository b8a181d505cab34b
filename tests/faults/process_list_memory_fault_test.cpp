// No memory for the list of processes. The definition here takes the place of the C library's for everything that is
// linked into this program.

#include <dlfcn.h>

#include <cerrno>
#include <cstdlib>

#include <gtest/gtest.h>

#include <tests/support/faults.h>
#include <tillvane/system/LProcessList.h>

namespace {

bool no_memory = false;

}  // namespace

extern "C" void* malloc(size_t size) noexcept {
  static const auto next = reinterpret_cast<decltype(&malloc)>(dlsym(RTLD_NEXT, "malloc"));
  if (!no_memory) return next(size);
  support::NoteFault("malloc", ENOMEM);
  errno = ENOMEM;
  return nullptr;
}

namespace {

TEST(ProcessListMemory, WithoutItThereIsACountAndNoList) {
  kinfo_proc* list = reinterpret_cast<kinfo_proc*>(1);
  no_memory = true;
  const unsigned int count = LGetBSDProcessList(&list);
  no_memory = false;
  EXPECT_EQ(list, nullptr);
  EXPECT_GT(count, 0u);
}

TEST(ProcessListMemory, WithoutItNothingIsFound) {
  no_memory = true;
  const int process = LGetBSDProcessUid("sh");
  const bool is_running = LIsApplicationRunning("sh");
  no_memory = false;
  EXPECT_EQ(process, -1);
  EXPECT_FALSE(is_running);
}

}  // namespace
