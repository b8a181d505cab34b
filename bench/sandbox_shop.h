#pragma once

/// \file
/// A shop against a real local store in a temporary folder.

#include <filesystem>
#include <string>

#include <tillvane/core/LProcessInterface.h>

namespace bench {

/// Waits as a host with a user interface does: its main loop goes on meanwhile.
class PumpingProcess : public LProcessInterfaceVoid {
 public:
  bool ProcessWait(unsigned int ms) override;
  int ProcessWaitSignal(LSignalObjectRef signal, unsigned int ms) override;
};

/// Two products, one that is bought again and again and one that can be restored. Every sale is a new bridge's: one
/// that has bought answers the next purchase without asking the store.
///
/// Main thread. The store knows this folder until the process ends: make one, and let it live as long.
class SandboxShop {
 public:
  SandboxShop();
  ~SandboxShop();
  SandboxShop(const SandboxShop&) = delete;
  SandboxShop& operator=(const SandboxShop&) = delete;

  /// Asks the price, then buys; the store asks its confirmation. \return false when it was not sold
  bool Buy();
  /// Buys the product that can be restored, unless that was done before, and restores it.
  bool Restore();

  int Sales() const { return sales_; }

 private:
  bool Sell(const char* base, bool restore);
  bool WriteCatalogue() const;
  static bool Confirm(const char* id, const char* price, void* shop);

  std::filesystem::path folder_;
  PumpingProcess process_;
  bool is_open_ = false;
  bool owns_lasting_ = false;
  int sales_ = 0;
  int confirmations_ = 0;
};

}  // namespace bench
