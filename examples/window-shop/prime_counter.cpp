#include "window-shop/prime_counter.h"

namespace window_shop {

namespace {

constexpr unsigned int kBelow = 4'000'000;
constexpr unsigned int kBlock = kBelow / 100;

bool IsPrime(unsigned int number) {
  if (number < 4) return number >= 2;
  for (unsigned int divisor = 2; divisor <= number / divisor; ++divisor) {
    if (number % divisor == 0) return false;
  }
  return true;
}

}  // namespace

PrimeCounter::~PrimeCounter() {
  // First the thread; then what it has sent and nobody has heard yet.
  StopThreadAndWait();
  QueuedNotifyDataHandlerDestroy();
}

void PrimeCounter::ThreadFunction() {
  unsigned int primes = 0;
  for (unsigned int number = 0; number < kBelow && !IsToStop(); ++number) {
    if (number % kBlock == 0) SetProgress(static_cast<double>(number) / kBelow);
    if (IsPrime(number)) ++primes;
  }
  if (IsToStop()) return;
  SetProgress(1);
  SetStatusF(0, "%u primes below %u", primes, kBelow);
}

}  // namespace window_shop
