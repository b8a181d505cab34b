#pragma once

#include <atomic>

namespace soak {

/// What is allocated and not freed, by whomever in this process: the host, the library, and those that it uses.
/// Without allocations.cpp they stay 0.
struct Allocations {
  std::atomic<long> blocks{0};
  std::atomic<long> bytes{0};  ///< with what the allocator adds, which is not always as much for the same block
};

extern constinit Allocations allocations;

}  // namespace soak
