// A host application in a terminal: it sells one product, itself, through the store bridge.
//
// Read session.cpp for the order of the calls, shop.cpp for what each answer means, and host_process.h for the one
// class that a host on the main thread has to write. The main loop is GLib's, and this program never runs it by itself:
// every wait does, for the store and for the keyboard.

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <optional>

#include <tillvane/tillvane.h>

#include "host_process.h"
#include "options.h"
#include "progress_line.h"
#include "session.h"

namespace {

constexpr int kFailed = 1;
constexpr int kWrongUse = 2;
/// What a shell makes of a program that Ctrl-C has ended.
constexpr int kStoppedByCtrlC = 130;

/// Whoever started this may have closed one of them: the next descriptor to be opened would take its place, and be read
/// as the keyboard.
void OpenStandardDescriptors() {
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) == -1) open("/dev/null", O_RDWR | O_CLOEXEC);
  }
}

/// For as long as this lives, a run that ends without its end is one that the next run hears of.
class WatchedRun {
 public:
  WatchedRun() {
    LDebugHangDetectorInit();
    if (!gLHangDetector.FoundUncleanEnd()) return;
    std::puts("Welcome back: the last run ended uncleanly.");
    // The first call has only taken the last run's marker away.
    LDebugHangDetectorInit();
  }
  ~WatchedRun() { LDebugHangDetectorDestroy(); }
  WatchedRun(const WatchedRun&) = delete;
  WatchedRun& operator=(const WatchedRun&) = delete;
};

bool RunSession(storefront::HostProcess& process, storefront::ProgressLine& progress,
                const storefront::Options& options) {
  std::puts("The storefront: a host that sells itself.");
  const WatchedRun watched;
  if (options.script) return storefront::RunScript(process, progress, options.base, *options.script);
  storefront::RunMenu(process, progress, options.base);
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  OpenStandardDescriptors();
  // Whole lines also where the output is a pipe, so that they stand in order with those on standard error.
  std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
  const std::optional<storefront::Options> options = storefront::ReadCommandLine(argc, argv);
  if (!options) return kWrongUse;
  storefront::ProgressLine progress;
  storefront::HostProcess process(progress);
  const bool good = RunSession(process, progress, *options);
  if (process.IsToStop()) return kStoppedByCtrlC;
  return good ? 0 : kFailed;
}
