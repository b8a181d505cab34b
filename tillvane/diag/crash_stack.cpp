#include <tillvane/diag/crash_stack.h>

#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cstddef>

namespace diag {

namespace {

/// Room for a signal's frame with the largest registers, for walking a stack, and for the report.
constexpr std::size_t kStackSize = 128 * 1024;

constinit pthread_key_t key = 0;
constinit std::atomic<bool> has_key{false};

/// Below the stack one page that nobody may touch.
std::size_t GuardSize() { return static_cast<std::size_t>(sysconf(_SC_PAGESIZE)); }

void FreeStack(void* memory) {
  char* const stack = static_cast<char*>(memory) + GuardSize();
  stack_t present;
  if (sigaltstack(nullptr, &present) == 0 && present.ss_sp == stack && (present.ss_flags & SS_DISABLE) == 0) {
    stack_t none = {};
    none.ss_flags = SS_DISABLE;
    // The thread is still on it when a handler ends the thread.
    if (sigaltstack(&none, nullptr) != 0) return;
  }
  munmap(memory, GuardSize() + kStackSize);
}

void* AllocateStack() {
  void* const memory =
      mmap(nullptr, GuardSize() + kStackSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) return nullptr;
  mprotect(memory, GuardSize(), PROT_NONE);
  return memory;
}

}  // namespace

CrashStacks::CrashStacks() { has_key = pthread_key_create(&key, &FreeStack) == 0; }

CrashStacks::~CrashStacks() {
  TakeCrashStack();
  if (has_key) pthread_key_delete(key);
  has_key = false;
}

void GiveCrashStack() {
  stack_t present;
  if (!has_key || sigaltstack(nullptr, &present) != 0 || (present.ss_flags & SS_DISABLE) == 0) return;
  void* const memory = AllocateStack();
  if (memory == nullptr) return;
  stack_t stack = {};
  stack.ss_sp = static_cast<char*>(memory) + GuardSize();
  stack.ss_size = kStackSize;
  if (pthread_setspecific(key, memory) != 0 || sigaltstack(&stack, nullptr) != 0) {
    pthread_setspecific(key, nullptr);
    munmap(memory, GuardSize() + kStackSize);
  }
}

void TakeCrashStack() {
  void* const memory = has_key ? pthread_getspecific(key) : nullptr;
  if (memory == nullptr) return;
  pthread_setspecific(key, nullptr);
  FreeStack(memory);
}

}  // namespace diag
