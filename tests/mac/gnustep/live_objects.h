#pragma once

#import <Foundation/Foundation.h>
#include <objc/runtime.h>

#include <string>

#include <gtest/gtest.h>

/// How many objects of these classes there are, for a test that expects as many at its end as at its beginning.
class LiveObjects {
 public:
  /// A line for each class whose number has changed since the beginning.
  std::string Changes() const {
    std::string lines;
    for (std::size_t i = 0; i < kCount; ++i) {
      const int more = GSDebugAllocationCount(Named(i)) - before_[i];
      if (more != 0) lines += std::string(kNames[i]) + ": " + std::to_string(more) + "\n";
    }
    return lines;
  }

  static int Count(Class kind) { return GSDebugAllocationCount(kind); }

 private:
  static constexpr const char* kNames[] = {
      "NSNumberFormatter", "SKPayment",          "SKPaymentTransaction",  "SKProduct",
      "SKProductsRequest", "SKProductsResponse", "TillvaneStoreObserver", "TillvaneStoreRequestDelegate",
  };
  static constexpr std::size_t kCount = std::size(kNames);

  static Class Named(std::size_t i) { return objc_getClass(kNames[i]); }

  struct Counts {
    Counts() {
      for (std::size_t i = 0; i < kCount; ++i) counts[i] = GSDebugAllocationCount(Named(i));
    }
    int operator[](std::size_t i) const { return counts[i]; }
    int counts[kCount];
  };
  Counts before_;
};
