#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace soak {

/// A thread that looks after another, of which it sees only how many signs of life there were so far.
class Watchdog {
 public:
  /// \param signs asked on the watchdog's thread
  /// \param bark called on that thread, once, when no sign has come for so many seconds, at the latest after twice as
  /// many
  Watchdog(unsigned int seconds, std::function<unsigned long()> signs, std::function<void()> bark);
  /// Not from within the bark.
  ~Watchdog();
  Watchdog(const Watchdog&) = delete;
  Watchdog& operator=(const Watchdog&) = delete;

 private:
  std::mutex lock_;
  std::condition_variable ended_;
  bool is_over_ = false;
  std::thread thread_;
};

}  // namespace soak
