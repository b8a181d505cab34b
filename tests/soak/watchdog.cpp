#include "watchdog.h"

#include <chrono>
#include <utility>

namespace soak {

Watchdog::Watchdog(unsigned int seconds, std::function<unsigned long()> signs, std::function<void()> bark)
    : thread_([this, patience = std::chrono::seconds(seconds), signs = std::move(signs), bark = std::move(bark)] {
        std::unique_lock hold(lock_);
        for (unsigned long seen = signs(); !ended_.wait_for(hold, patience, [this] { return is_over_; });) {
          const unsigned long now = signs();
          if (now == seen) return bark();
          seen = now;
        }
      }) {}

Watchdog::~Watchdog() {
  {
    const std::lock_guard hold(lock_);
    is_over_ = true;
  }
  ended_.notify_all();
  thread_.join();
}

}  // namespace soak
