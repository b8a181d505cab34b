#pragma once

/// \file
/// Ours beside its peers: measured in one run, in interleaved repetitions, and printed as one table.

#include <benchmark/benchmark.h>

#include <functional>
#include <string>
#include <vector>

#include "results.h"

namespace bench {

/// The body of one benchmark: runs on the main thread, loops over the state.
using Body = std::function<void(benchmark::State&)>;

/// Gives the time of its life to the pass of a body that it is in, for Clock::kFamily, which stands alone.
class FamilyStopwatch {
 public:
  explicit FamilyStopwatch(benchmark::State& state) : state_(state), begin_(Seconds()) {}
  ~FamilyStopwatch() { state_.SetIterationTime(Seconds() - begin_); }
  FamilyStopwatch(const FamilyStopwatch&) = delete;
  FamilyStopwatch& operator=(const FamilyStopwatch&) = delete;

 private:
  static double Seconds();

  benchmark::State& state_;
  const double begin_;
};

struct Peer {
  std::string name;
  Body body;
  double goal = 0;        ///< ours may take so many times what the peer takes; 0 for no goal
  std::string note = {};  ///< for whoever sees the goal missed: what was tried, and why it is not met
  bool is_limit = false;  ///< what no way of doing it can leave out: bare system calls, or the bytes looked at once
};

Peer Limit(std::string name, Body body, double goal = 0, std::string note = {});

/// What a time is. A processor's time leaves out what else the machine does meanwhile: where nobody sleeps, it is what
/// the clock on the wall would show on an idle machine.
enum class Clock {
  kThread,   ///< the main thread's time on a processor
  kProcess,  ///< that of all its threads together
  kFamily,   ///< that of all its threads and of the children it has reaped: a FamilyStopwatch in each pass of the body
  kWall,
};

/// One thing of ours and what others offer for the same work.
struct Comparison {
  std::string title;
  std::vector<Clock> clocks;  ///< a table for each, of the same repetitions; the goals are the first one's
  std::string name;           ///< of ours
  Body body;
  std::vector<Peer> peers;
  int items = 1;          ///< so many in one pass of the body's loop; times are printed for one
  double seconds = 0.05;  ///< of a repetition
  int repetitions = 15;   ///< at most: fewer where one takes long
};

struct Options {
  bool quick = false;
};

/// Prints the head of a family's table.
void PrintHead(const std::string& family);

/// Measures a comparison, prints its parts of the table and adds them to the results.
/// \return our median for an item, in nanoseconds of the first clock; 0 when there is none
double Measure(const Comparison& comparison, const Options& options, Results* results);

}  // namespace bench
