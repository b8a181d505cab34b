#pragma once

#include <memory>
#include <string>

#include <tillvane/store/scripted_backend.h>
#include <tillvane/store/tillvane_manager.h>

#include "storekit_double.h"

/// The scenarios' backend on the double of StoreKit: the same script, told to Objective-C objects by the run loop.
class StoreKitBackend final : public ScriptedAnswers {
 public:
  StoreKitBackend() { storekit::PlayedBy(&Store()); }
  ~StoreKitBackend() { storekit::PlayedBy(nullptr); }
  StoreKitBackend(const StoreKitBackend&) = delete;
  StoreKitBackend& operator=(const StoreKitBackend&) = delete;

  std::unique_ptr<StoreBridge> MakeBridge() override { return std::make_unique<StoreBridgeOf<TillvaneManager>>(); }
  bool Pump() override { return storekit::Pump(); }
  std::string PriceText(const platform::StoreProduct& product) override { return storekit::PriceText(product); }
};
