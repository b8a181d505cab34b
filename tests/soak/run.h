#pragma once

#include <memory>
#include <string>
#include <vector>

#include "gate.h"
#include "judgement.h"
#include "options.h"
#include "private_world.h"
#include "shop.h"
#include "stop_request.h"
#include "watch.h"
#include "watchdog.h"
#include "worker.h"

namespace soak {

/// The whole run: all the workers, the shop on the main thread, a quiet point after each window.
class Run {
 public:
  Run(const Options& options, const PrivateWorld& world);
  ~Run();
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;

  /// Ends the process when a worker or the main thread hangs: they cannot be destroyed.
  /// \return whether nothing grew and every result was right
  bool Do();

 private:
  void Add(const char* name, std::unique_ptr<Task> task);
  void AddWorkers();
  void StartWorkers();
  bool IsToGoOn();
  void Sell();
  bool IsWindowOver() const;
  void BeQuiet();
  bool WaitForWorkers();
  void OpenNewLedger();
  static void FillEventPool();
  Sample LookUntilSettled();
  void PrintWindow(const Sample& sample, unsigned int freeze_ms);
  void Judge(unsigned int freeze_ms);
  void RequireRounds();
  bool EndWorkers();
  std::string WhoHangs() const;
  bool Report();
  [[noreturn]] void GiveUp();
  [[noreturn]] void GiveUpOnMainThread();
  [[noreturn]] void EndWithoutDestructors();
  bool IsLocking() const;
  double Seconds() const;

  const Options options_;
  const PrivateWorld& world_;
  const StopRequest stop_;
  const gint64 begin_ = g_get_monotonic_time();
  Host host_;
  Shop shop_;
  Gate gate_;
  Failure failure_;
  std::vector<std::unique_ptr<Worker>> workers_;
  Watch watch_;
  unsigned int windows_ = 0;
  gint64 window_begin_ = begin_;
  std::vector<unsigned long> rounds_;  ///< of each worker, at the last quiet point
  std::string hanging_;
  std::vector<Sample> samples_;  ///< after the warm-up
  const Watchdog watchdog_;
};

}  // namespace soak
