// A host whose work is done by threads, while its main thread shows how far they are and stays alive.
//
// Read prime_worker.h for the threads and Run() for their owner. The main loop is GLib's, and this program never runs
// it by itself: its waits do.

#include <glib-unix.h>
#include <tillvane/tillvane.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <memory>
#include <optional>
#include <vector>

#include "options.h"
#include "prime_worker.h"
#include "screen.h"

namespace {

constexpr int kFailed = 1;
constexpr int kWrongUse = 2;
/// What a shell makes of a program that Ctrl-C has ended; SIGTERM is no other request.
constexpr int kStopped = 130;
/// The system's ordinary priority less five: the workers make room for whoever waits for an answer.
constexpr int kWorkersPriority = 26;

/// Waits on the main thread until Ctrl-C or SIGTERM. The flag is set by a source of the main loop and not in a signal
/// handler.
class Host : public LProcessEventsHandler {
 public:
  Host() : stop_sources_{g_unix_signal_add(SIGINT, Stop, this), g_unix_signal_add(SIGTERM, Stop, this)} {}
  ~Host() {
    for (const guint source : stop_sources_) g_source_remove(source);
  }
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  bool IsProcessEventHandlerToStop() const override { return stop_; }

 private:
  static gboolean Stop(gpointer self) {
    static_cast<Host*>(self)->stop_ = true;
    return G_SOURCE_CONTINUE;
  }

  const std::array<guint, 2> stop_sources_;
  bool stop_ = false;
};

using Workers = std::vector<std::unique_ptr<worker::PrimeWorker>>;

/// \return false when the system gave a thread or its descriptors to fewer than were asked for
bool StartAll(const Workers& workers) {
  for (const auto& one : workers) {
    const bool has_signals = one->EndedSignal().filedes[0] >= 0;
    if (!has_signals) return false;
    one->Start(kWorkersPriority);
    if (one->IsRunning()) continue;
    // It has ended already, or could not be made.
    one->JoinThread();
    if (!one->EndedSignal().IsSignaled()) return false;
  }
  return true;
}

/// While this waits, what the workers send is done on this thread. \return false when it was stopped
bool WaitForAll(Host& host, const Workers& workers) {
  for (const auto& one : workers) {
    if (host.ProcessWaitSignalForeverAndProcessEvents(one->EndedSignal()) != 0) return false;
  }
  // What the last of them has posted.
  LProcessClearCurrentEvents();
  return true;
}

int Run(const worker::Options& options) {
  Host host;
  worker::Screen screen;
  worker::Blocks blocks(options.below);
  worker::Tally tally;
  Workers workers;
  for (unsigned int i = 1; i <= options.threads; ++i) {
    workers.push_back(std::make_unique<worker::PrimeWorker>(i, screen, blocks, tally));
  }
  std::printf("counting the primes below %u with %u thread%s\n", options.below, options.threads,
              options.threads == 1 ? "" : "s");
  const bool started = StartAll(workers);
  if (!started) screen.SetError("the system has no room for so many threads");
  const bool counted = started && WaitForAll(host, workers);
  // All at once, before each is waited for.
  for (const auto& one : workers) one->StopThreadSoon();
  workers.clear();
  screen.Clear();
  if (!started) return kFailed;
  if (!counted) {
    std::printf("stopped after %u of %u blocks\n", tally.blocks, blocks.Count());
    return kStopped;
  }
  std::printf("%u primes below %u, in %u blocks\n", tally.primes, options.below, tally.blocks);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
  const std::optional<worker::Options> options = worker::ReadCommandLine(argc, argv);
  if (!options) return kWrongUse;
  LThreadRunOnMainThread::Init();
  const int status = Run(*options);
  LThreadRunOnMainThread::Destroy();
  return status;
}
