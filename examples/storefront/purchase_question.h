#pragma once

#include <functional>
#include <string>

#include "host_process.h"

namespace storefront {

/// Asks "Buy it?" before each purchase, for as long as this lives.
///
/// Where the system's own store asks (as Apple's does), the library never calls this. The local store does; it calls on
/// the main loop, from inside the wait of TillvanePurchaseApplication, and the answer may take as long as it likes
/// while a loop inside that wait runs. A host with windows would run a dialog here.
class PurchaseQuestion {
 public:
  using AskFunction = std::function<bool(const std::string& question)>;

  /// \param ask shows the question and answers it; after a stop any answer is no
  PurchaseQuestion(HostProcess& process, AskFunction ask);
  ~PurchaseQuestion();
  PurchaseQuestion(const PurchaseQuestion&) = delete;
  PurchaseQuestion& operator=(const PurchaseQuestion&) = delete;

 private:
  static bool Confirm(const char* id, const char* price, void* self);

  HostProcess& process_;
  const AskFunction ask_;
};

}  // namespace storefront
