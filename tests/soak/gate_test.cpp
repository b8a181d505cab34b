#include "gate.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/waiting.h>

namespace {

TEST(Gate, LetsEachPassForEveryOpeningHoweverShort) {
  constexpr std::size_t threads = 4;
  std::array<std::atomic<unsigned int>, threads> rounds{};
  soak::Gate gate;
  gate.Close();
  std::vector<std::thread> workers;
  for (auto& own : rounds) {
    workers.emplace_back([&gate, &own] {
      while (gate.Pass()) ++own;
    });
  }
  const auto all_wait = [&gate] { return gate.Waiting() == threads; };
  EXPECT_TRUE(support::WaitUntil(all_wait));
  for (int opening = 0; opening < 200; ++opening) {
    const std::array<unsigned int, threads> before{rounds[0], rounds[1], rounds[2], rounds[3]};
    gate.Open();
    gate.Close();
    EXPECT_TRUE(support::WaitUntil(all_wait));
    for (std::size_t i = 0; i < threads; ++i) EXPECT_GT(rounds[i], before[i]) << i << " at opening " << opening;
  }
  gate.End();
  for (std::thread& worker : workers) worker.join();
}

}  // namespace
