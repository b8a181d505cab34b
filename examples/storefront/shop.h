#pragma once

#include <tillvane/tillvane.h>

#include <memory>
#include <string>

namespace storefront {

class HostProcess;
class ProgressLine;

/// The host's side of the store bridge: each step calls it, waits, and says in words what came of it.
class Shop {
 public:
  Shop(HostProcess& process, ProgressLine& progress, std::string base);

  /// A step answers false when it failed. A purchase that the user declined and a restore that found nothing did what
  /// they should.
  bool AskPrice();
  bool Buy();
  bool Restore();

  /// Stands in for the parent who approves a child's purchase.
  bool DecideDeferred(bool approve);

  bool Pause(unsigned int ms);

  /// The product's price, or words in its place.
  std::string PriceText() const { return price_.empty() ? "no price yet" : price_; }

 private:
  struct DestroyManager {
    void operator()(TillvaneManager* manager) const { TillvaneDestroy(manager); }
  };

  int Purchase(bool restore);
  bool IsStopped() const;

  HostProcess& process_;
  ProgressLine& progress_;
  const std::string base_;
  std::string price_;
  std::unique_ptr<TillvaneManager, DestroyManager> manager_;
};

}  // namespace storefront
