#include "worker.h"

#include <exception>
#include <utility>

namespace soak {

void Failure::Note(const std::string& text) {
  const std::lock_guard hold(lock_);
  if (text_.empty()) text_ = text;
}

std::string Failure::Text() {
  const std::lock_guard hold(lock_);
  return text_;
}

Worker::Worker(std::string name, std::unique_ptr<Task> task, Gate& gate, Failure& failure)
    : name_(std::move(name)), task_(std::move(task)), gate_(gate), failure_(failure) {}

void Worker::ThreadFunction() {
  try {
    while (gate_.Pass(&is_in_round_)) {
      task_->Round(*this);
      ++rounds_;
    }
  } catch (const std::exception& error) {
    failure_.Note(name_ + ": not so after " + std::to_string(rounds_) + " rounds: " + error.what());
    is_in_round_ = false;
  }
}

}  // namespace soak
