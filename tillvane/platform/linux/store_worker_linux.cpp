#include <tillvane/platform/linux/store_worker_linux.h>

#include <unistd.h>

#include <condition_variable>
#include <cstdio>
#include <deque>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>
#include <utility>

#include <tillvane/platform/linux/signals_blocked_linux.h>

namespace platform {

namespace {

// 'TvSt' and 'Done': an answer waits.
constexpr unsigned int kAnswerClass = 0x54765374;
constexpr unsigned int kAnswerKind = 0x446F6E65;

void PostAnswerEvent() {
  Event* event = CreateEvent(kAnswerClass, kAnswerKind);
  // Without memory for the event this answer goes with the next one.
  if (event == nullptr) return;
  PostEvent(event, kStandardPriority);
  ReleaseEvent(event);
}

}  // namespace

struct StoreWorker::Shared {
  const pid_t process = getpid();
  const Shared* parents = nullptr;  ///< what a fork left behind; kept only so that it does not count as leaked
  std::mutex lock;
  std::condition_variable changed;
  std::deque<QueuedJob> jobs;
  std::deque<Answer> answers;
  bool working = false;
  bool ending = false;
  std::thread thread;

  void Deliver(Answer answer) {
    if (!answer) return;
    {
      const UninterruptedLock guard(lock);
      answers.push_back(std::move(answer));
    }
    PostAnswerEvent();
  }
  Answer NextAnswer() {
    const UninterruptedLock guard(lock);
    if (answers.empty()) return nullptr;
    Answer answer = std::move(answers.front());
    answers.pop_front();
    return answer;
  }
};

StoreWorker::StoreWorker()
    : handler_(InstallEventHandler(kAnswerClass, kAnswerKind, DeliverAnswers, this)),
      shared_(std::make_unique<Shared>()) {}

StoreWorker::~StoreWorker() { Close(); }

void StoreWorker::Close() {
  if (closed_) return;
  closed_ = true;
  RemoveEventHandler(handler_);
  Shared& shared = OfThisProcess();
  {
    const UninterruptedLock guard(shared.lock);
    shared.ending = true;
  }
  shared.changed.notify_one();
  if (shared.thread.joinable()) shared.thread.join();
}

/// After a fork the parent's thread is not there, and its mutex may be locked for ever: all of it is left alone.
StoreWorker::Shared& StoreWorker::OfThisProcess() {
  if (shared_->process != getpid()) {
    const Shared* const parents = shared_.release();
    shared_ = std::make_unique<Shared>();
    shared_->parents = parents;
  }
  return *shared_;
}

void StoreWorker::Do(Job job) { Queue({std::move(job), false}); }

void StoreWorker::DoUnlessEnding(Job job) { Queue({std::move(job), true}); }

void StoreWorker::Queue(QueuedJob job) {
  if (closed_) return;
  Shared& shared = OfThisProcess();
  // Without a thread the host waits for the disk; it still sells.
  if (!StartThread(shared)) return Work(shared, job.job);
  {
    const UninterruptedLock guard(shared.lock);
    shared.jobs.push_back(std::move(job));
  }
  shared.changed.notify_one();
}

bool StoreWorker::IsIdle() {
  Shared& shared = OfThisProcess();
  const UninterruptedLock guard(shared.lock);
  return shared.jobs.empty() && !shared.working && shared.answers.empty();
}

bool StoreWorker::StartThread(Shared& shared) {
  if (shared.thread.joinable()) return true;
  try {
    const SignalsBlocked blocked;
    shared.thread = std::thread(Run, std::ref(shared));
    return true;
  } catch (const std::system_error&) {
    return false;
  }
}

void StoreWorker::Run(Shared& shared) {
  std::unique_lock guard(shared.lock);
  for (;;) {
    shared.changed.wait(guard, [&] { return shared.ending || !shared.jobs.empty(); });
    if (shared.jobs.empty()) return;
    const QueuedJob next = std::move(shared.jobs.front());
    shared.jobs.pop_front();
    if (shared.ending && next.may_be_dropped) continue;
    shared.working = true;
    guard.unlock();
    Work(shared, next.job);
    guard.lock();
    shared.working = false;
  }
}

void StoreWorker::Work(Shared& shared, const Job& job) {
  try {
    shared.Deliver(job());
  } catch (const std::bad_alloc&) {
    std::fputs("tillvane: the store is out of memory\n", stderr);
  }
}

bool StoreWorker::DeliverAnswers(Event*, void* worker) {
  auto* const self = static_cast<StoreWorker*>(worker);
  // One at a time: an answer may run a loop (a dialog), where the next ones are delivered in their order.
  while (!self->closed_) {
    const Answer answer = self->OfThisProcess().NextAnswer();
    if (!answer) break;
    answer();
  }
  // The event does not say whose answer waits: every worker looks.
  return false;
}

}  // namespace platform
