#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include <tillvane/core/LProcessInterface.h>
#include <tillvane/platform/store_service.h>

/// \file
/// The rules of the store bridge, whichever classes listen to the store. Main thread.
///
/// The templates speak to those classes by messages: any object that has the functions named at a template will do.

namespace store {

/// How the last purchase or restore ended, as an observer keeps it.
enum Outcome : std::int32_t {
  kBought = 0,  ///< or restored
  kCancelled = 1,
  kRestoreFailed = 2,
  kFailed = 3,  ///< for another reason; also what an observer begins with
};

/// What a purchase answers to the host.
enum Answer : int { kAnswerBought = 0, kAnswerNotBought = 1, kAnswerFailed = 2 };

/// What a question for the price answers, with or without a price.
inline constexpr int kPriceAnswer = 1;

/// How long the store has for each of its answers.
inline constexpr unsigned int kAnswerWaitMs = 60000;
/// Makes the product's identifier of the host's base identifier.
inline constexpr char kProductSuffix[] = ".paid";
inline constexpr char kPurchaseFailedText[] = "Purchase failed for unknown reasons";

/// \param base UTF-8; null is empty
inline std::string ProductIdentifier(const char* base) {
  return std::string(base != nullptr ? base : "") + kProductSuffix;
}

/// What a transaction asks of the observer.
enum class Step { kLeave, kComplete, kFail, kRestore };

constexpr Step StepOf(platform::TransactionState state) {
  switch (state) {
    case platform::TransactionState::kPurchased:
      return Step::kComplete;
    case platform::TransactionState::kFailed:
      return Step::kFail;
    case platform::TransactionState::kRestored:
      return Step::kRestore;
    case platform::TransactionState::kPurchasing:
    case platform::TransactionState::kDeferred:
      break;
  }
  // A state that a later store invents is in progress too: nothing may be finished that is not understood.
  return Step::kLeave;
}

constexpr Outcome OutcomeOfFailure(long error_code) {
  return error_code == platform::kPaymentCancelled ? kCancelled : kFailed;
}

/// Does what each transaction of a batch asks for, and wakes the waiting call when all of them were final.
///
/// Messages: Count(), State(i), Complete(i), Fail(i), Restore(i), Finish(i), Signal().
template <class Messages>
void HandleTransactions(Messages&& batch) {
  const std::size_t count = batch.Count();
  bool all_final = count > 0;
  for (std::size_t i = 0; i < count; ++i) {
    switch (StepOf(batch.State(i))) {
      case Step::kLeave:
        all_final = false;
        continue;
      case Step::kComplete:
        batch.Complete(i);
        break;
      case Step::kFail:
        batch.Fail(i);
        break;
      case Step::kRestore:
        batch.Restore(i);
        break;
    }
    batch.Finish(i);
  }
  if (all_final) batch.Signal();
}

/// The first index below `count` that `matches` says yes to; `count` without one.
template <class Matches>
std::size_t FirstMatch(std::size_t count, Matches matches) {
  std::size_t i = 0;
  while (i < count && !matches(i)) ++i;
  return i;
}

/// Takes a products request's answer in. Products are kept even where the one that was asked for is not among them.
///
/// Messages: Count(), IsAskedFor(i), KeepProducts(), KeepPrice(i), Signal().
template <class Messages>
void HandleProducts(Messages&& answer) {
  const std::size_t count = answer.Count();
  if (count == 0) return;
  answer.KeepProducts();
  const std::size_t match = FirstMatch(count, [&](std::size_t i) { return answer.IsAskedFor(i); });
  if (match == count) return;
  answer.KeepPrice(match);
  answer.Signal();
}

/// Waits for the products that were asked for. How the wait ended does not matter: what has arrived is kept elsewhere.
inline void WaitForProducts(LSignalObjectRef received, LProcessInterface& process) {
  process.ProcessWaitSignal(received, kAnswerWaitMs);
  received.Reset();
}

/// Waits for a purchase or a restore to end. Only a signal from now on counts: an earlier one was of an earlier batch.
inline void WaitForOutcome(LSignalObjectRef done, LProcessInterface& process) {
  done.Reset();
  process.ProcessWaitSignal(done, kAnswerWaitMs);
}

/// The host's question for the price.
///
/// Messages of the delegate: IsProductInfoAvailable(), GetProductInfo(base, &process), GetPrice(utf8).
template <class Delegate>
int GetPrice(Delegate&& delegate, LProcessInterface& process, char* utf8, const char* base) {
  if (!delegate.IsProductInfoAvailable()) delegate.GetProductInfo(base, &process);
  delegate.GetPrice(utf8);
  return kPriceAnswer;
}

/// Tells the host how a purchase or a restore ended.
inline Answer AnswerOf(std::int32_t outcome, LProcessInterface& process) {
  if (outcome == kBought) return kAnswerBought;
  if (outcome != kFailed) return kAnswerNotBought;
  process.SetError(kPurchaseFailedText);
  return kAnswerFailed;
}

/// The host's purchase or restore.
///
/// A store that does not answer leaves the outcome of the time before. Messages of the observer: GetResult(),
/// RestoreCompletedTransactions(), Process(&process); of the delegate: IsProductInfoAvailable(), Purchase().
template <class Observer, class Delegate>
Answer PurchaseApplication(Observer&& observer, Delegate&& delegate, LProcessInterface& process, bool restore) {
  if (!delegate.IsProductInfoAvailable()) return kAnswerFailed;
  if (restore) {
    observer.RestoreCompletedTransactions();
  } else {
    if (observer.GetResult() == kBought) return kAnswerBought;
    delegate.Purchase();
  }
  observer.Process(&process);
  return AnswerOf(observer.GetResult(), process);
}

}  // namespace store
