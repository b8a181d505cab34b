#include "purchase_question.h"

#include <tillvane/tillvane.h>

#include <utility>

namespace storefront {

PurchaseQuestion::PurchaseQuestion(HostProcess& process, AskFunction ask) : process_(process), ask_(std::move(ask)) {
  TillvaneSetPurchaseConfirmation(Confirm, this);
}

PurchaseQuestion::~PurchaseQuestion() { TillvaneSetPurchaseConfirmation(nullptr, nullptr); }

bool PurchaseQuestion::Confirm(const char* id, const char* price, void* self) {
  PurchaseQuestion& question = *static_cast<PurchaseQuestion*>(self);
  const HostProcess::Question shown(question.process_);
  const bool yes = question.ask_(std::string("Buy ") + id + " for " + price + "?");
  // Whoever asked to stop does not want to pay.
  return yes && !question.process_.IsToStop();
}

}  // namespace storefront
