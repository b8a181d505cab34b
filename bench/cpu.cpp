#include "cpu.h"

#include <sched.h>

namespace bench {

namespace {

bool RunOn(const std::vector<int>& cpus) {
  cpu_set_t set;
  CPU_ZERO(&set);
  for (const int cpu : cpus) CPU_SET(static_cast<unsigned int>(cpu), &set);
  return sched_setaffinity(0, sizeof set, &set) == 0;
}

}  // namespace

std::vector<int> AllowedCpus() {
  cpu_set_t set;
  std::vector<int> cpus;
  if (sched_getaffinity(0, sizeof set, &set) != 0) return cpus;
  for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu) {
    if (CPU_ISSET(static_cast<unsigned int>(cpu), &set)) cpus.push_back(cpu);
  }
  return cpus;
}

Pinned::Pinned(int cpu) : before_(AllowedCpus()), failed_(!RunOn({cpu})) {}

Pinned::~Pinned() { RunOn(before_); }

AheadOfOthers::AheadOfOthers() {
  sched_param lowest{};
  lowest.sched_priority = sched_get_priority_min(SCHED_RR);
  allowed_ = sched_setscheduler(0, SCHED_RR | SCHED_RESET_ON_FORK, &lowest) == 0;
}

AheadOfOthers::~AheadOfOthers() {
  const sched_param none{};
  if (allowed_) sched_setscheduler(0, SCHED_OTHER, &none);
}

}  // namespace bench
