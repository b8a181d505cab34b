#include <glib.h>

#include <algorithm>
#include <cstdio>
#include <utility>
#include <vector>

#include <tillvane/core/LProcessEventsHandler.h>

#include "cpu.h"
#include "families.h"
#include "sandbox_shop.h"

namespace bench {

namespace {

/// How much later than in an idle loop 99 of 100 ticks may come.
constexpr double kMoreMs = 5;

/// A host's own timer, every millisecond, in GLib's default main context.
class Ticker {
 public:
  Ticker() : source_(g_timeout_add(1, Tick, this)) { Restart(); }
  ~Ticker() { g_source_remove(source_); }
  Ticker(const Ticker&) = delete;
  Ticker& operator=(const Ticker&) = delete;

  void Restart() {
    gaps_.clear();
    last_us_ = g_get_monotonic_time();
  }

  /// The gaps since the start, the one that is still open included: a loop that stood still to the end shows too.
  std::vector<double> TakeGapsMs() {
    Note();
    return std::move(gaps_);
  }

 private:
  static gboolean Tick(gpointer ticker) {
    static_cast<Ticker*>(ticker)->Note();
    return G_SOURCE_CONTINUE;
  }
  void Note() {
    const gint64 now_us = g_get_monotonic_time();
    gaps_.push_back(static_cast<double>(now_us - last_us_) / 1000);
    last_us_ = now_us;
  }

  std::vector<double> gaps_;
  gint64 last_us_ = 0;
  guint source_;
};

/// One way to spend the time, and what the ticker saw of it in every round.
struct Phase {
  const char* name;
  bool (*run)(SandboxShop&, gint64 end_us);
  std::vector<std::vector<double>> rounds;
};

gboolean Quit(gpointer loop) {
  g_main_loop_quit(static_cast<GMainLoop*>(loop));
  return G_SOURCE_REMOVE;
}

unsigned int MsUntil(gint64 end_us) {
  return static_cast<unsigned int>(std::max<gint64>((end_us - g_get_monotonic_time()) / 1000, 1));
}

bool IdleInLoop(SandboxShop&, gint64 end_us) {
  GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
  g_timeout_add(MsUntil(end_us), Quit, loop);
  g_main_loop_run(loop);
  g_main_loop_unref(loop);
  return true;
}

bool IdleInWait(SandboxShop&, gint64 end_us) { return ProcessWaitAndProcessEvents(MsUntil(end_us)) == 0; }

bool BuyInWait(SandboxShop& shop, gint64 end_us) {
  while (g_get_monotonic_time() < end_us) {
    if (!shop.Buy()) return false;
  }
  return true;
}

bool RestoreInWait(SandboxShop& shop, gint64 end_us) {
  while (g_get_monotonic_time() < end_us) {
    if (!shop.Restore()) return false;
  }
  return true;
}

std::vector<double> AllGaps(const Phase& phase) {
  std::vector<double> all;
  for (const auto& round : phase.rounds) all.insert(all.end(), round.begin(), round.end());
  return all;
}

/// How much later the 99 of 100 come than in the idle loop of the same round: least and most.
std::pair<double, double> Spread(const Phase& phase, const Phase& idle) {
  std::vector<double> more;
  for (std::size_t i = 0; i < phase.rounds.size(); ++i) {
    more.push_back(Percentile(phase.rounds[i], 99) - Percentile(idle.rounds[i], 99));
  }
  const auto [least, most] = std::minmax_element(more.begin(), more.end());
  return {*least, *most};
}

void PrintPhase(const Phase& phase, const Phase& idle, bool has_goal, Results* results) {
  const std::vector<double> gaps = AllGaps(phase);
  const double p99 = Percentile(gaps, 99);
  std::printf("    %-44s %7zu  %7.2f  %7.2f  %7.2f", phase.name, gaps.size(), Percentile(gaps, 50), p99,
              Percentile(gaps, 100));
  if (&phase != &idle) {
    const double more = p99 - Percentile(AllGaps(idle), 99);
    const auto [least, most] = Spread(phase, idle);
    std::printf("  %+7.2f  %+7.2f ..%+7.2f", more, least, most);
    if (has_goal) {
      const Bound bound = {
          std::string("99th percentile of the gaps, later than idle: ") + phase.name, "ms", more, least, most, kMoreMs};
      std::printf("  <= %.0f ms  %s", kMoreMs, bound.IsMet() ? "yes" : "NO");
      results->Add(bound);
    }
  }
  std::printf("\n");
}

/// \return false when a phase could not do its work
bool RunRounds(std::vector<Phase>* phases, SandboxShop& shop, const Options& options, Results* results) {
  const int rounds = options.quick ? 2 : 5;
  const gint64 length_us = options.quick ? 500000 : 2000000;
  // An idle thread is woken at once, a busy one has to share the processor: the difference would be other processes'
  // work.
  const AheadOfOthers ahead;
  if (!ahead.IsAllowed()) std::printf("  (no right to real-time priority: other processes count too)\n");
  Ticker ticker;
  for (int round = 0; round < rounds; ++round) {
    for (Phase& phase : *phases) {
      ticker.Restart();
      if (!phase.run(shop, g_get_monotonic_time() + length_us)) {
        results->NoteFailure(std::string("tick: ") + phase.name);
        return false;
      }
      phase.rounds.push_back(ticker.TakeGapsMs());
    }
  }
  return true;
}

}  // namespace

void RunTickFamily(const Options& options, Results* results) {
  // Lives as long as the store, which closes its ledger when the process ends.
  static SandboxShop shop;
  std::vector<Phase> phases{{"idle: the host's own g_main_loop_run", IdleInLoop, {}},
                            {"idle: ProcessWaitAndProcessEvents", IdleInWait, {}},
                            {"purchases under way", BuyInWait, {}},
                            {"restores under way", RestoreInWait, {}}};
  std::printf("\n%-48s %7s  %7s  %7s  %7s  %7s  %18s  %-7s  %s\n", "tick: gaps of a timer of 1 ms", "ticks", "p50 ms",
              "p99 ms", "max ms", "more ms", "of rounds", "goal", "met");
  if (!RunRounds(&phases, shop, options, results)) return;
  for (const Phase& phase : phases)
    PrintPhase(phase, phases[0], phase.run == BuyInWait || phase.run == RestoreInWait, results);
  std::printf("    %d sales\n", shop.Sales());
}

}  // namespace bench
