// Children that are started while other threads hold the allocator's locks, and each other's pipes.

#include <tillvane/system/LPipe.h>

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/waiting.h>

namespace {

#ifdef TILLVANE_SANITIZED
constexpr int kOpened = 300;
#else
constexpr int kOpened = 10000;
#endif

/// Threads that allocate and free for as long as this lives.
class Allocators {
 public:
  Allocators() {
    for (int i = 0; i < 8; ++i) threads_.emplace_back([this, i] { Run(i); });
  }
  ~Allocators() {
    is_over_ = true;
    for (std::thread& thread : threads_) thread.join();
  }
  Allocators(const Allocators&) = delete;
  Allocators& operator=(const Allocators&) = delete;

 private:
  void Run(int number) {
    std::vector<std::unique_ptr<std::string>> kept(16);
    for (unsigned int i = 0; !is_over_; ++i) {
      kept[i % kept.size()] = std::make_unique<std::string>(64U << (i % 6), static_cast<char>('a' + number));
      if (i % 32 == 0) support::SleepMs(1);
    }
  }

  std::atomic<bool> is_over_{false};
  std::vector<std::thread> threads_;
};

bool SaysHi(LPipeIn& pipe) {
  char text[8] = "";
  return pipe._Open("/bin/echo hi") && pipe.Read(text, sizeof text) == 3 && std::string(text) == "hi\n" &&
         pipe.Read(text, sizeof text) == 0;
}

bool SaysItBack(LPipeInOut& pipe) {
  char text[8] = "";
  return pipe._Open("/bin/cat") && pipe.Write("hi", 2) == 2 && pipe.Read(text, sizeof text) == 2 &&
         std::string(text) == "hi";
}

TEST(PipeStress, OpenedWhileEightThreadsAllocate) {
  const Allocators allocators;
  for (int i = 0; i < kOpened; i += 2) {
    LPipeIn in;
    ASSERT_TRUE(SaysHi(in)) << i;
    LPipeInOut both;
    ASSERT_TRUE(SaysItBack(both)) << i;
  }
}

// A command ends when its own input does: none of the others, started at the same time, holds it open.
TEST(PipeStress, NoCommandHoldsAnothersPipe) {
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&failures] {
      for (int round = 0; round < 25; ++round) {
        LPipeInOut pipe;
        if (!SaysItBack(pipe)) ++failures;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failures, 0);
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
}

}  // namespace
