#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdio>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include <tillvane/core/LThread.h>

#include "cpu.h"
#include "families.h"

namespace bench {

namespace {

constexpr int kOrdinaryPriority = 31;
constexpr unsigned int kNoLimit = 0xFFFFFFFF;

class NothingToDo : public LThread {
 public:
  ~NothingToDo() override { StopThreadAndWait(); }
  void ThreadFunction() override {}
};

void StartAndEndOurs(benchmark::State& state, int cpu) {
  const Pinned pinned(cpu);
  if (pinned.HasFailed()) state.SkipWithError("the system refused to pin the thread");
  NothingToDo thread;
  for (auto _ : state) {
    thread.Start(kOrdinaryPriority);
    thread.JoinThread();
  }
}

void StartAndEndStd(benchmark::State& state, int cpu) {
  const Pinned pinned(cpu);
  for (auto _ : state) std::thread([] {}).join();
}

void StartAndEndPthread(benchmark::State& state, int cpu) {
  const Pinned pinned(cpu);
  const auto nothing = [](void*) -> void* { return nullptr; };
  for (auto _ : state) {
    pthread_t thread;
    if (pthread_create(&thread, nullptr, nothing, nullptr) != 0) return state.SkipWithError("no thread could be made");
    pthread_join(thread, nullptr);
  }
}

Comparison StartsAndEnds(int cpu) {
  const auto on = [cpu](void (*body)(benchmark::State&, int)) {
    return [body, cpu](benchmark::State& state) { body(state, cpu); };
  };
  return {
      "start, nothing to do, end, on one core",
      {Clock::kProcess, Clock::kWall},
      "LThread: Start, JoinThread",
      on(StartAndEndOurs),
      {{"std::thread, join", on(StartAndEndStd), 1.4,
        "Quiet runs give 1.31 to 1.39; what is left of the difference is the handshake in which Start learns that the "
        "thread is there with its priority. Tried: to yield after the start gives 0.95, but makes Start take 2.9 ms "
        "instead of 10 us where the new thread works at once. Not taken."},
       Limit("pthread_create, pthread_join", on(StartAndEndPthread))}};
}

// What can be asked to stop while it waits for nothing else.

class OurSleeper : public LThread {
 public:
  OurSleeper() { Start(kOrdinaryPriority); }
  ~OurSleeper() override { StopThreadAndWait(); }
  void ThreadFunction() override { ProcessWait(kNoLimit); }
  void Stop() { StopThreadAndWait(); }
};

class ConditionSleeper {
 public:
  ConditionSleeper() : thread_([this] { Run(); }) {}
  void Stop() {
    {
      const std::lock_guard guard(lock_);
      stop_ = true;
    }
    asked_.notify_one();
    thread_.join();
  }

 private:
  void Run() {
    std::unique_lock guard(lock_);
    asked_.wait(guard, [this] { return stop_; });
  }

  std::mutex lock_;
  std::condition_variable asked_;
  bool stop_ = false;
  std::thread thread_;
};

/// Nanoseconds from the request to the end of a thread that sleeps by then.
template <class Sleeper>
double StopOne() {
  using namespace std::chrono;
  Sleeper sleeper;
  // Longer than the thread takes to fall asleep; both share the core.
  std::this_thread::sleep_for(microseconds(200));
  const auto begin = steady_clock::now();
  sleeper.Stop();
  return duration<double, std::nano>(steady_clock::now() - begin).count();
}

/// The medians of as many runs of rounds as other measurements have repetitions.
std::vector<double> MediansOfRuns(const std::vector<double>& times) {
  constexpr std::size_t kRuns = 15;
  const auto run = static_cast<std::ptrdiff_t>(times.size() / kRuns);
  std::vector<double> medians;
  for (auto at = times.begin(); times.end() - at >= run; at += run) medians.push_back(Median({at, at + run}));
  return medians;
}

/// Rounds of both in turn, on one core, and the percentiles of their times.
void RunStops(int cpu, const Options& options, Results* results) {
  constexpr double goal = 1.2;
  const int rounds = options.quick ? 300 : 3000;
  const Pinned pinned(cpu);
  std::vector<double> ours, theirs;
  for (int i = 0; i < rounds; ++i) {
    ours.push_back(StopOne<OurSleeper>());
    theirs.push_back(StopOne<ConditionSleeper>());
  }
  std::printf("\n%-48s %10s  %10s\n", "threads: stop request to the end", "p50 ns", "p99 ns");
  const std::vector<double> runs[] = {MediansOfRuns(ours), MediansOfRuns(theirs)};
  const double p50[] = {Median(runs[0]), Median(runs[1])};
  std::printf("    %-44s %10.0f  %10.0f\n", "LThread: StopThreadAndWait", p50[0], Percentile(ours, 99));
  std::printf("    %-44s %10.0f  %10.0f\n", "std::condition_variable, join", p50[1], Percentile(theirs, 99));
  const PeerResult result = {"std::condition_variable, join", p50[1], RatioOf(runs[0], runs[1]), goal};
  std::printf("    %-44s %10.3f  %10.3f  <= %.2f  %s\n", "ours/this", result.ratio.of_medians,
              Percentile(ours, 99) / Percentile(theirs, 99), goal, result.IsMet() ? "yes" : "NO");
  results->Add({"stop request to the end of a thread, on one core",
                "wall clock of single stops",
                "LThread: StopThreadAndWait",
                p50[0],
                {result}});
}

}  // namespace

void RunThreadsFamily(const Options& options, Results* results) {
  const std::vector<int> cpus = AllowedCpus();
  PrintHead("threads");
  if (cpus.empty()) return results->NoteFailure("threads: which processors there are");
  Measure(StartsAndEnds(cpus[0]), options, results);
  RunStops(cpus[0], options, results);
}

}  // namespace bench
