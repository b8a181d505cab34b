#pragma once

#include <functional>
#include <memory>

#include <tillvane/platform/event_queue.h>

namespace platform {

/// Runs the local store's work, which waits for the disk and for other processes, on a thread of its own, and what
/// follows from it on the main loop: a host's interface never waits for the disk.
///
/// Jobs run in their order, and so do their answers. Made, used and destroyed on the main thread. A process that is
/// forked begins with a worker of its own, without the jobs of its parent.
class StoreWorker {
 public:
  using Answer = std::function<void()>;
  /// Runs on the worker's thread; the answer that it returns, if any, runs on the main loop.
  using Job = std::function<Answer()>;

  StoreWorker();
  ~StoreWorker();
  StoreWorker(const StoreWorker&) = delete;
  StoreWorker& operator=(const StoreWorker&) = delete;

  void Do(Job job);
  /// For a job that need not be done any more when the library ends.
  void DoUnlessEnding(Job job);

  /// Finishes the jobs that are left and ends the thread; what is asked for later is dropped.
  void Close();

  /// Is there neither a job left nor an answer that waits for the main loop?
  bool IsIdle();

 private:
  struct QueuedJob {
    Job job;
    bool may_be_dropped;
  };
  /// What the threads share.
  struct Shared;

  Shared& OfThisProcess();
  void Queue(QueuedJob job);
  static bool StartThread(Shared& shared);
  static void Run(Shared& shared);
  static void Work(Shared& shared, const Job& job);
  static bool DeliverAnswers(Event* event, void* worker);

  EventHandler* handler_;
  std::unique_ptr<Shared> shared_;
  bool closed_ = false;
};

}  // namespace platform
