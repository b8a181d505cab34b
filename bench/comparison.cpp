#include "comparison.h"

#include <sys/resource.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <map>
#include <utility>

namespace bench {

namespace {

/// Keeps the times of every repetition, in nanoseconds an item, under the benchmark's name.
class Collector : public benchmark::BenchmarkReporter {
 public:
  explicit Collector(int items) : items_(items) {}

  bool ReportContext(const Context&) override { return true; }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration) continue;
      if (run.error_occurred) {
        errors_[run.run_name.function_name] = run.error_message;
        continue;
      }
      const double items = static_cast<double>(run.iterations) * items_;
      wall_[run.run_name.function_name].push_back(run.real_accumulated_time * 1e9 / items);
      processor_[run.run_name.function_name].push_back(run.cpu_accumulated_time * 1e9 / items);
    }
  }

  const std::vector<double>& Times(const std::string& name, Clock clock) {
    const bool is_processors_own = clock == Clock::kThread || clock == Clock::kProcess;
    return (is_processors_own ? processor_ : wall_)[name];
  }
  const std::string& Error(const std::string& name) { return errors_[name]; }

 private:
  int items_;
  std::map<std::string, std::vector<double>> wall_, processor_;
  std::map<std::string, std::string> errors_;
};

const char* NameOf(Clock clock) {
  switch (clock) {
    case Clock::kThread:
      return "main thread's processor time";
    case Clock::kProcess:
      return "processor time of all threads";
    case Clock::kFamily:
      return "processor time of all threads and children";
    case Clock::kWall:
      break;
  }
  return "wall clock";
}

bool Has(const std::vector<Clock>& clocks, Clock clock) {
  return std::find(clocks.begin(), clocks.end(), clock) != clocks.end();
}

void Register(const std::string& name, const Body& body, const Comparison& comparison, const Options& options) {
  const std::vector<Clock>& clocks = comparison.clocks;
  auto* registered = benchmark::RegisterBenchmark(name.c_str(), body)
                         ->MinTime(comparison.seconds / (options.quick ? 5 : 1))
                         ->Repetitions(std::min(options.quick ? 5 : 15, comparison.repetitions));
  if (Has(clocks, Clock::kWall)) registered->UseRealTime();
  if (Has(clocks, Clock::kFamily)) registered->UseManualTime();
  if (Has(clocks, Clock::kProcess)) registered->MeasureProcessCPUTime();
}

/// \return false, with a line printed, when there is no time to compare
bool PrintTime(const std::string& name, Clock clock, Collector* collector, Results* results) {
  const std::vector<double>& times = collector->Times(name, clock);
  const std::string& error = collector->Error(name);
  if (times.empty() || !error.empty()) {
    std::printf("    %-44s failed: %s\n", name.c_str(), error.c_str());
    results->NoteFailure(name);
    return false;
  }
  std::printf("    %-44s %10.1f", name.c_str(), Median(times));
  return true;
}

void PrintRatio(const PeerResult& peer) {
  std::printf("  %9.3f  %7.3f ..%7.3f", peer.ratio.of_medians, peer.ratio.least, peer.ratio.most);
  if (peer.goal > 0) std::printf("  <= %.2f  %s", peer.goal, peer.IsMet() ? "yes" : "NO");
  std::printf("\n");
}

void Show(const Comparison& comparison, Clock clock, Collector* collector, Results* results) {
  std::printf("  %s (%s)\n", comparison.title.c_str(), NameOf(clock));
  if (!PrintTime(comparison.name, clock, collector, results)) return;
  std::printf("\n");
  const std::vector<double>& ours = collector->Times(comparison.name, clock);
  Table table = {comparison.title, NameOf(clock), comparison.name, Median(ours)};
  for (const Peer& peer : comparison.peers) {
    if (!PrintTime(peer.name, clock, collector, results)) continue;
    const std::vector<double>& times = collector->Times(peer.name, clock);
    const double goal = clock == comparison.clocks.front() ? peer.goal : 0;
    table.peers.push_back({peer.name, Median(times), RatioOf(ours, times), goal, peer.note, peer.is_limit});
    PrintRatio(table.peers.back());
  }
  results->Add(std::move(table));
}

}  // namespace

double FamilyStopwatch::Seconds() {
  double seconds = 0;
  for (const int who : {RUSAGE_SELF, RUSAGE_CHILDREN}) {
    rusage usage{};
    getrusage(who, &usage);
    for (const timeval& time : {usage.ru_utime, usage.ru_stime}) {
      seconds += static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
    }
  }
  return seconds;
}

Peer Limit(std::string name, Body body, double goal, std::string note) {
  return {std::move(name), std::move(body), goal, std::move(note), true};
}

void PrintHead(const std::string& family) {
  std::printf("\n%-48s %10s  %9s  %18s  %-7s  %s\n", family.c_str(), "median ns", "ours/this", "of repetitions", "goal",
              "met");
}

double Measure(const Comparison& comparison, const Options& options, Results* results) {
  benchmark::ClearRegisteredBenchmarks();
  Register(comparison.name, comparison.body, comparison, options);
  for (const Peer& peer : comparison.peers) Register(peer.name, peer.body, comparison, options);
  Collector collector(comparison.items);
  benchmark::RunSpecifiedBenchmarks(&collector, "all");
  for (const Clock clock : comparison.clocks) Show(comparison, clock, &collector, results);
  std::fflush(stdout);
  return Median(collector.Times(comparison.name, comparison.clocks.front()));
}

}  // namespace bench
