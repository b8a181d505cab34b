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
  std::atomic<unsigned int> inside{0};
  soak::Gate gate;
  gate.Close();
  std::vector<std::thread> workers;
  for (auto& own : rounds) {
    workers.emplace_back([&gate, &own, &inside] {
      std::atomic<bool> is_inside{false};
      for (; gate.Pass(&is_inside); ++own) inside += is_inside ? 1 : 0;
      EXPECT_FALSE(is_inside);
    });
  }
  const auto all_wait = [&gate] { return gate.Waiting() == threads; };
  EXPECT_TRUE(support::WaitUntil(all_wait));
  for (int opening = 0; opening < 200; ++opening) {
    const std::array<unsigned int, threads> before{rounds[0], rounds[1], rounds[2], rounds[3]};
    gate.Open();
    gate.Close();
    const bool do_all_wait = support::WaitUntil(all_wait);
    EXPECT_TRUE(do_all_wait) << "at opening " << opening;
    if (!do_all_wait) break;
    for (std::size_t i = 0; i < threads; ++i) EXPECT_GT(rounds[i], before[i]) << i << " at opening " << opening;
  }
  gate.End();
  for (std::thread& worker : workers) worker.join();
  EXPECT_EQ(inside, rounds[0] + rounds[1] + rounds[2] + rounds[3]);
}

}  // namespace
