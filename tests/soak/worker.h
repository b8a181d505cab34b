#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>

#include "gate.h"
#include "task.h"

namespace soak {

/// The first thing that went wrong on any thread.
class Failure {
 public:
  void Note(const std::string& text);
  /// Empty for nothing.
  std::string Text();

 private:
  std::mutex lock_;
  std::string text_;
};

/// A thread of the toolkit that does its task again and again.
class Worker final : public LThread {
 public:
  Worker(std::string name, std::unique_ptr<Task> task, Gate& gate, Failure& failure);
  ~Worker() override { StopThreadAndWait(); }

  void ThreadFunction() override;

  const std::string& Name() const { return name_; }
  unsigned long Rounds() const { return rounds_.load(); }
  bool IsInRound() const { return is_in_round_.load(); }

 private:
  const std::string name_;
  const std::unique_ptr<Task> task_;
  Gate& gate_;
  Failure& failure_;
  std::atomic<unsigned long> rounds_{0};
  std::atomic<bool> is_in_round_{false};
};

}  // namespace soak
