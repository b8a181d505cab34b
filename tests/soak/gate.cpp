#include "gate.h"

namespace soak {

bool Gate::Pass() {
  std::unique_lock hold(lock_);
  ++waiting_;
  changed_.wait(hold, [this] { return !is_closed_ || is_over_; });
  --waiting_;
  return !is_over_;
}

void Gate::Close() {
  const std::lock_guard hold(lock_);
  is_closed_ = true;
}

void Gate::Open() {
  const std::lock_guard hold(lock_);
  is_closed_ = false;
  changed_.notify_all();
}

void Gate::End() {
  const std::lock_guard hold(lock_);
  is_over_ = true;
  changed_.notify_all();
}

unsigned int Gate::Waiting() {
  const std::lock_guard hold(lock_);
  return is_closed_ ? waiting_ : 0;
}

}  // namespace soak
