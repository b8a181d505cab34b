// A host that loads the library while it runs, and unloads it: `library_handlers_host LIBRARY MODE`. It says what the
// signals' handlers are before, between and after.

#include <dlfcn.h>
#include <glib.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <thread>

#include <tests/process/crash_faults.h>

namespace {

constexpr int kSignals[] = {SIGPIPE, SIGQUIT, SIGILL, SIGFPE, SIGSEGV, SIGBUS, SIGINT, SIGTERM};

struct sigaction ActionOf(int number) {
  struct sigaction action;
  sigaction(number, nullptr, &action);
  return action;
}

void OwnHandler(int) {}

void OwnInfoHandler(int, siginfo_t*, void*) {}

void Install(int number, void (*handler)(int), int flags) {
  struct sigaction action = {};
  action.sa_handler = handler;
  action.sa_flags = flags;
  sigaction(number, &action, nullptr);
}

void InstallInfo(int number) {
  struct sigaction action = {};
  action.sa_sigaction = &OwnInfoHandler;
  action.sa_flags = SA_SIGINFO;
  sigaction(number, &action, nullptr);
}

const char* NameOf(int number) {
  const struct sigaction action = ActionOf(number);
  const bool has_info = (action.sa_flags & SA_SIGINFO) != 0;
  if (has_info) return action.sa_sigaction == &OwnInfoHandler ? "own-info" : "library";
  if (action.sa_handler == &OwnHandler) return "own";
  if (action.sa_handler == SIG_DFL) return "default";
  return sigismember(&action.sa_mask, SIGTERM) == 1 ? "ignored-by-library" : "ignored";
}

void Show(const char* when) {
  std::printf("%s:", when);
  for (const int number : kSignals) std::printf(" %s", NameOf(number));
  std::puts("");
}

template <class Function>
Function* Find(void* library, const char* name) {
  return reinterpret_cast<Function*>(dlsym(library, name));
}

/// What the library made of its variables.
void ShowVariables(void* library) {
  auto* const lock = static_cast<pthread_mutex_t*>(dlsym(library, "loDebugThreads"));
  const auto word = [&](const char* name) {
    const auto* const found = static_cast<unsigned int*>(dlsym(library, name));
    return found != nullptr ? *found : ~0U;
  };
  const bool is_recursive = lock != nullptr && pthread_mutex_trylock(lock) == 0 && pthread_mutex_trylock(lock) == 0 &&
                            pthread_mutex_unlock(lock) == 0 && pthread_mutex_unlock(lock) == 0;
  std::printf("variables: command %u, last %u, %s, loaded by %s\n", word("gwDebugCurrentCommand"),
              word("gwDebugLastCommand"), is_recursive ? "recursive" : "not recursive",
              word("gdwMainThreadId") == static_cast<unsigned int>(gettid()) ? "this thread" : "another");
}

bool IsLoaded(const char* path) {
  void* const library = dlopen(path, RTLD_NOW | RTLD_NOLOAD);
  if (library != nullptr) dlclose(library);
  return library != nullptr;
}

/// The library's own work, which leaves something in GLib's loop that must not be called when it is gone.
void Use(void* library) {
  auto* const post = Find<bool(unsigned int, unsigned int, int)>(library, "_Z15LEventQueuePostjji");
  auto* const report = Find<bool(int)>(library, "_Z21LDebugReportCrashesToi");
  if (post == nullptr || report == nullptr || !post(1, 1, 1) || !report(2)) std::puts("cannot be used");
}

/// Loads the library on a thread that is not the process's first.
void LoadElsewhere(const char* path) {
  std::thread([&] {
    void* const library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) return;
    ShowVariables(library);
    dlclose(library);
  }).join();
}

}  // namespace

int main(int argc, char** argv) {
  support::LeaveNoCore();
  if (argc != 3) return 99;
  const char* const path = argv[1];
  const bool is_replaced = std::strcmp(argv[2], "replaced") == 0;
  if (std::strcmp(argv[2], "own-before") == 0) {
    Install(SIGPIPE, &OwnHandler, 0);
    Install(SIGINT, SIG_IGN, 0);
    InstallInfo(SIGSEGV);
  }
  if (std::strcmp(argv[2], "elsewhere") == 0) {
    LoadElsewhere(path);
    return 3;
  }
  Show("before");
  void* const library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    std::puts(dlerror());
    return 98;
  }
  Show("loaded");
  ShowVariables(library);
  if (std::strcmp(argv[2], "used") == 0) Use(library);
  if (is_replaced) {
    Install(SIGPIPE, SIG_IGN, SA_RESTART);
    Install(SIGQUIT, &OwnHandler, 0);
    InstallInfo(SIGSEGV);
    Install(SIGTERM, SIG_DFL, 0);
  }
  dlclose(library);
  std::printf("is %s\n", IsLoaded(path) ? "still loaded" : "unloaded");
  Show("after");
  while (g_main_context_iteration(nullptr, FALSE)) {
  }
  return 3;
}
