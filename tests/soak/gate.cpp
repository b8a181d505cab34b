#include "gate.h"

namespace soak {

bool Gate::Pass(std::atomic<bool>* is_inside) {
  std::unique_lock hold(lock_);
  *is_inside = false;
  if (is_closed_ && !is_over_) {
    ++waiting_;
    changed_.wait(hold, [this, openings = openings_] { return openings_ != openings || is_over_; });
  }
  *is_inside = !is_over_;
  return !is_over_;
}

void Gate::Close() {
  const std::lock_guard hold(lock_);
  is_closed_ = true;
}

void Gate::Open() {
  const std::lock_guard hold(lock_);
  is_closed_ = false;
  waiting_ = 0;
  ++openings_;
  changed_.notify_all();
}

void Gate::End() {
  const std::lock_guard hold(lock_);
  is_over_ = true;
  changed_.notify_all();
}

unsigned int Gate::Waiting() {
  const std::lock_guard hold(lock_);
  return waiting_;
}

}  // namespace soak
