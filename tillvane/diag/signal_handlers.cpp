#include <tillvane/diag/signal_handlers.h>

#include <tillvane/diag/LDebugSignals.h>

namespace diag {

namespace {

using Handler = void (*)(int, siginfo_t*, void*);

/// One signal that the library has its say in; without a handler it is ignored.
struct Installed {
  int signal;
  Handler handler;
  struct sigaction before = {};
};

// In the order in which they are installed.
constinit Installed signals[] = {
    {SIGPIPE, nullptr},
    {SIGQUIT, &LDebugSignalHandler},
    {SIGILL, &LDebugSignalHandler},
    {SIGFPE, &LDebugSignalHandler},
    {SIGSEGV, &LDebugSignalHandler},
    {SIGBUS, &LDebugSignalHandler},
    {SIGINT, &LIntTermSignalHandler},
    {SIGTERM, &LIntTermSignalHandler},
};

struct sigaction ActionOf(const Installed& entry) {
  struct sigaction action = {};
  sigfillset(&action.sa_mask);
  if (entry.handler == nullptr) {
    action.sa_handler = SIG_IGN;
    action.sa_flags = SA_RESTART;
  } else {
    action.sa_sigaction = entry.handler;
    action.sa_flags = SA_SIGINFO;
  }
  return action;
}

/// Whoever else ignores SIGPIPE hardly does it with every signal masked.
bool IsOurs(const Installed& entry, const struct sigaction& action) {
  const bool has_info = (action.sa_flags & SA_SIGINFO) != 0;
  if (entry.handler != nullptr) return has_info && action.sa_sigaction == entry.handler;
  return !has_info && action.sa_handler == SIG_IGN && (action.sa_flags & SA_RESTART) != 0 &&
         sigismember(&action.sa_mask, SIGTERM) == 1 && sigismember(&action.sa_mask, SIGUSR1) == 1;
}

bool IsStillOurs(const Installed& entry) {
  struct sigaction now;
  return sigaction(entry.signal, nullptr, &now) == 0 && IsOurs(entry, now);
}

}  // namespace

SignalHandlers::SignalHandlers() {
  for (Installed& entry : signals) {
    const struct sigaction action = ActionOf(entry);
    sigaction(entry.signal, &action, &entry.before);
  }
}

SignalHandlers::~SignalHandlers() { RestoreSignalHandlers(); }

void RestoreSignalHandlers() {
  for (const Installed& entry : signals) {
    if (IsStillOurs(entry)) sigaction(entry.signal, &entry.before, nullptr);
  }
}

void UseAlternateStack(bool is_used) {
  for (const Installed& entry : signals) {
    if (entry.handler != &LDebugSignalHandler || !IsStillOurs(entry)) continue;
    struct sigaction action = ActionOf(entry);
    if (is_used) action.sa_flags |= SA_ONSTACK;
    sigaction(entry.signal, &action, nullptr);
  }
}

}  // namespace diag
