#pragma once

#include <functional>
#include <memory>
#include <string>

#include "window-shop/host_process.h"

namespace window_shop {

/// The store's side of the window: each step waits for the store through the host's process and says in words what came
/// of it. Main thread only; one step at a time, each after HostProcess::BeginStep().
class Shop {
 public:
  /// Asks the user, in a dialog, whether this product is to be bought. Runs on the main loop, inside of Buy()'s wait.
  using AskFunction = std::function<bool(const std::string& product, const std::string& price)>;

  /// \param process lives longer than this
  /// \param base the base identifier, to which the store adds ".paid"
  Shop(HostProcess& process, std::string base, AskFunction ask);
  ~Shop();
  Shop(const Shop&) = delete;
  Shop& operator=(const Shop&) = delete;

  std::string AskPrice();
  std::string Buy();
  std::string Restore();

  /// As the store writes it; empty before it has told one.
  const std::string& Price() const { return price_; }

 private:
  struct DestroyManager {
    void operator()(TillvaneManager* manager) const { TillvaneDestroy(manager); }
  };

  static bool Confirm(const char* product, const char* price, void* self);
  std::string Failure(const char* what) const;

  HostProcess& process_;
  const std::string base_;
  const AskFunction ask_;
  const std::unique_ptr<TillvaneManager, DestroyManager> manager_;
  std::string price_;
};

}  // namespace window_shop
