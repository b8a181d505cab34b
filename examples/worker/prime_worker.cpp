#include "prime_worker.h"

#include <algorithm>
#include <cstdio>
#include <memory>

namespace worker {

namespace {

bool IsPrime(unsigned int number) {
  if (number < 4) return number >= 2;
  if (number % 2 == 0) return false;
  for (unsigned int divisor = 3; divisor <= number / divisor; divisor += 2) {
    if (number % divisor == 0) return false;
  }
  return true;
}

unsigned int CountPrimes(unsigned int first, unsigned int end) {
  unsigned int count = 0;
  for (unsigned int number = first; number < end; ++number) count += IsPrime(number) ? 1 : 0;
  return count;
}

/// A block's count on its way to the main thread.
class BlockCounted : public LThreadRunOnMainThreadData {
 public:
  BlockCounted(Tally& tally, unsigned int primes) : tally_(tally), primes_(primes) {}

  void MainThreadFunction() override {
    ++tally_.blocks;
    tally_.primes += primes_;
  }

 private:
  Tally& tally_;
  unsigned int primes_;
};

}  // namespace

bool Blocks::TakeNext(unsigned int* first, unsigned int* end) {
  const unsigned int block = next_++;
  if (block >= count_) return false;
  *first = block * kNumbers;
  *end = std::min(*first + kNumbers, below_);
  return true;
}

PrimeWorker::PrimeWorker(unsigned int number, LProcessInterface& screen, Blocks& blocks, Tally& tally)
    : LThreadNotifyInterface(&screen), number_(number), blocks_(blocks), tally_(tally) {}

PrimeWorker::~PrimeWorker() {
  // First the thread, which uses the members; then what it has sent and nobody has heard yet.
  StopThreadAndWait();
  to_main_thread_.ThreadRunOnMainThreadDestroy();
  QueuedNotifyDataHandlerDestroy();
}

void PrimeWorker::ThreadFunction() {
  unsigned int first, end;
  while (!IsToStop() && blocks_.TakeNext(&first, &end)) {
    SetStatusF(0, "worker %u counts from %u", number_, first);
    auto counted = std::make_unique<BlockCounted>(tally_, CountPrimes(first, end));
    to_main_thread_.RunOnMainThread(counted.get());
    // The library owns what is posted, and this sender takes posts as long as its thread runs. Without memory for the
    // post it throws, which ends this program, and the count is still freed.
    static_cast<void>(counted.release());
    SetProgress(blocks_.NoteDone());
  }
}

}  // namespace worker
