// In which order the library installs its signal handlers when it is loaded, and a system that refuses one. The
// definition here takes the place of the C library's for everything that is linked into this program.

#include <signal.h>

#include <cerrno>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/faults.h>
#include <tests/support/next_definition.h>
#include <tillvane/diag/LDebugSignals.h>
#include <tillvane/diag/signal_handlers.h>

namespace {

struct Call {
  int signal = 0;
  struct sigaction action = {};
};

// Written before any constructor has run.
constinit Call calls[64] = {};
constinit int count = 0;
constinit int refused = SIGFPE;

/// Those of which a handler was asked for since `begin`, by number.
std::string SignalsSince(int begin) {
  std::string signals;
  for (int i = begin; i < count; ++i) signals += std::to_string(calls[i].signal) + ' ';
  return signals;
}

std::string Numbers(std::initializer_list<int> signals) {
  std::string text;
  for (const int signal : signals) text += std::to_string(signal) + ' ';
  return text;
}

bool IsHandledByDefault(int signal) {
  struct sigaction action;
  return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_DFL;
}

}  // namespace

extern "C" int sigaction(int signal, const struct sigaction* action, struct sigaction* before) noexcept {
  if (action != nullptr && count < 64) {
    calls[count].signal = signal;
    calls[count++].action = *action;
  }
  if (action != nullptr && signal == refused) {
    return support::FailNoted(EINVAL);
  }
  return support::Next(&sigaction, "sigaction")(signal, action, before);
}

namespace {

const std::string kOrder = Numbers({SIGPIPE, SIGQUIT, SIGILL, SIGFPE, SIGSEGV, SIGBUS, SIGINT, SIGTERM});

/// Where the library's calls begin: something else may have asked before it.
int FirstCall() {
  int first = 0;
  while (first < count && calls[first].signal != SIGPIPE) ++first;
  return first;
}

TEST(SignalHandlersAtLoad, AreInstalledInTheirOrder) {
  const int first = FirstCall();
  EXPECT_EQ(SignalsSince(first).substr(0, kOrder.size()), kOrder);
  EXPECT_EQ(calls[first].action.sa_handler, SIG_IGN);
  EXPECT_EQ(calls[first].action.sa_flags, SA_RESTART);
  for (int i = 1; i < 8; ++i) {
    EXPECT_EQ(calls[first + i].action.sa_flags, SA_SIGINFO) << i;
    EXPECT_EQ(calls[first + i].action.sa_sigaction, i < 6 ? &LDebugSignalHandler : &LIntTermSignalHandler) << i;
  }
}

TEST(SignalHandlersAtLoad, OneThatIsRefusedLeavesTheOthers) {
  EXPECT_TRUE(IsHandledByDefault(SIGFPE));
  EXPECT_FALSE(IsHandledByDefault(SIGBUS));
  refused = 0;
  const int before = count;
  diag::UseAlternateStack(true);
  EXPECT_EQ(SignalsSince(before), Numbers({SIGQUIT, SIGILL, SIGSEGV, SIGBUS}));
  EXPECT_EQ(calls[count - 1].action.sa_flags, SA_SIGINFO | SA_ONSTACK);
  diag::UseAlternateStack(false);
  EXPECT_EQ(calls[count - 1].action.sa_flags, SA_SIGINFO);
  const int then = count;
  diag::RestoreSignalHandlers();
  EXPECT_EQ(SignalsSince(then), Numbers({SIGPIPE, SIGQUIT, SIGILL, SIGSEGV, SIGBUS, SIGINT, SIGTERM}));
  EXPECT_TRUE(IsHandledByDefault(SIGSEGV));
  // They are nobody's concern any more.
  diag::RestoreSignalHandlers();
  diag::UseAlternateStack(false);
  EXPECT_TRUE(IsHandledByDefault(SIGSEGV));
}

}  // namespace
