#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>

namespace soak {

/// What all workers pass before each round. While it is closed they wait before it, and nothing goes on. Who waits
/// passes once for each opening, however soon the gate is closed again.
class Gate {
 public:
  /// Waits while the gate is closed. \return false when the run is over
  /// \param is_inside set to the answer, and to false as long as this waits: whoever has closed the gate sees who still
  /// is inside
  bool Pass(std::atomic<bool>* is_inside);

  void Close();
  void Open();
  /// Lets everybody through for the last time.
  void End();

  /// How many wait.
  unsigned int Waiting();

 private:
  std::mutex lock_;
  std::condition_variable changed_;
  bool is_closed_ = false;
  bool is_over_ = false;
  unsigned int waiting_ = 0;
  unsigned int openings_ = 0;
};

}  // namespace soak
