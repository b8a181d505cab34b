#pragma once

#include <atomic>
#include <thread>

namespace soak {

/// SIGINT, SIGTERM and SIGHUP, taken by a thread that waits for nothing else. A handler would miss those that come
/// while a shell command runs, during which the C library's `system` ignores SIGINT. One that comes in the moment in
/// which that begins may still be lost: who asks, asks again.
class StopRequest {
 public:
  /// Blocks them for the calling thread, what it starts and what it becomes: they are kept for the first StopRequest.
  static void Block();

  /// Block() was called before, on the same thread.
  StopRequest();
  ~StopRequest();
  StopRequest(const StopRequest&) = delete;
  StopRequest& operator=(const StopRequest&) = delete;

  bool HasCome() const { return has_come_.load(); }

 private:
  std::atomic<bool> has_come_{false};
  std::atomic<bool> is_over_{false};
  std::thread thread_;
};

}  // namespace soak
