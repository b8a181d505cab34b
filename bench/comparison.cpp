#include "comparison.h"

#include <sys/resource.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <map>

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

struct Ratio {
  double of_medians, least, most;
};

/// Interleaved repetitions of the same number ran at about the same time: their ratios show the spread.
Ratio RatioOf(const std::vector<double>& ours, const std::vector<double>& peer) {
  Ratio ratio{Median(ours) / Median(peer), 0, 0};
  for (std::size_t i = 0; i < std::min(ours.size(), peer.size()); ++i) {
    const double one = ours[i] / peer[i];
    ratio.least = i == 0 ? one : std::min(ratio.least, one);
    ratio.most = i == 0 ? one : std::max(ratio.most, one);
  }
  return ratio;
}

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
bool PrintTime(const std::string& name, Clock clock, Collector* collector, Goals* goals) {
  const std::vector<double>& times = collector->Times(name, clock);
  const std::string& error = collector->Error(name);
  if (times.empty() || !error.empty()) {
    std::printf("    %-44s failed: %s\n", name.c_str(), error.c_str());
    goals->NoteFailure(name);
    return false;
  }
  std::printf("    %-44s %10.1f", name.c_str(), Median(times));
  return true;
}

void PrintPeer(const Comparison& comparison, const Peer& peer, Clock clock, Collector* collector, Goals* goals) {
  if (!PrintTime(peer.name, clock, collector, goals)) return;
  const Ratio ratio = RatioOf(collector->Times(comparison.name, clock), collector->Times(peer.name, clock));
  std::printf("  %9.3f  %7.3f ..%7.3f", ratio.of_medians, ratio.least, ratio.most);
  if (peer.goal > 0 && clock == comparison.clocks.front()) {
    const bool met = ratio.of_medians <= peer.goal;
    std::printf("  <= %.2f  %s", peer.goal, met ? "yes" : "NO");
    goals->Note(comparison.title + ": of " + peer.name, met);
  }
  std::printf("\n");
}

void Print(const Comparison& comparison, Clock clock, Collector* collector, Goals* goals) {
  std::printf("  %s (%s)\n", comparison.title.c_str(), NameOf(clock));
  if (!PrintTime(comparison.name, clock, collector, goals)) return;
  std::printf("\n");
  for (const Peer& peer : comparison.peers) PrintPeer(comparison, peer, clock, collector, goals);
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

double Median(std::vector<double> values) {
  if (values.empty()) return 0;
  std::sort(values.begin(), values.end());
  const std::size_t half = values.size() / 2;
  return values.size() % 2 == 1 ? values[half] : (values[half - 1] + values[half]) / 2;
}

double Percentile(std::vector<double> values, double percent) {
  if (values.empty()) return 0;
  std::sort(values.begin(), values.end());
  const double rank = percent / 100 * static_cast<double>(values.size() - 1);
  return values[static_cast<std::size_t>(rank + 0.5)];
}

void Goals::Note(const std::string& goal, bool met) { (met ? met_ : missed_).push_back(goal); }

void Goals::NoteFailure(const std::string& what) { failures_.push_back(what); }

void Goals::Print() const {
  std::printf("\n%zu of %zu goals met\n", met_.size(), met_.size() + missed_.size());
  for (const std::string& goal : missed_) std::printf("  missed: %s\n", goal.c_str());
  for (const std::string& failure : failures_) std::printf("  could not be measured: %s\n", failure.c_str());
}

void PrintHead(const std::string& family) {
  std::printf("\n%-48s %10s  %9s  %18s  %-7s  %s\n", family.c_str(), "median ns", "ours/this", "of repetitions", "goal",
              "met");
}

double Measure(const Comparison& comparison, const Options& options, Goals* goals) {
  benchmark::ClearRegisteredBenchmarks();
  Register(comparison.name, comparison.body, comparison, options);
  for (const Peer& peer : comparison.peers) Register(peer.name, peer.body, comparison, options);
  Collector collector(comparison.items);
  benchmark::RunSpecifiedBenchmarks(&collector, "all");
  for (const Clock clock : comparison.clocks) Print(comparison, clock, &collector, goals);
  std::fflush(stdout);
  return Median(collector.Times(comparison.name, comparison.clocks.front()));
}

}  // namespace bench
