#include "run.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <map>
#include <thread>

#include "call_thread.h"
#include "tasks.h"

namespace soak {

namespace {

constexpr gint64 kSecond = 1000000;
/// What the first windows take is kept for later: caches, pools, stacks.
constexpr unsigned int kWarmUpWindows = 2;
/// A worker that takes longer for a round hangs.
constexpr gint64 kRoundLimit = 60 * kSecond;
/// A thread or a child that has ended may be seen for a moment.
constexpr gint64 kSettleLimit = 5 * kSecond;
/// A main loop on a busy machine is late, but not so late.
constexpr unsigned int kFreezeLimitMs = 5000;
constexpr unsigned int kMomentMs = 5;
constexpr unsigned int kStoreRestMs = 200;

/// Of events that nobody handles.
constexpr unsigned int kEventClass = 0x736F616B, kEventKind = 1;

constexpr double kMiB = 1024.0 * 1024.0;

}  // namespace

Run::Run(const Options& options, const PrivateWorld& world)
    : options_(options), world_(world), host_([this] { return stop_.HasCome(); }), shop_(host_), watch_(world.Path()) {
  LThreadRunOnMainThread::Init();
  AddWorkers();
}

Run::~Run() {
  EndWorkers();
  LThreadRunOnMainThread::Destroy();
}

void Run::Add(const char* name, std::unique_ptr<Task> task) {
  workers_.push_back(std::make_unique<Worker>(name, std::move(task), gate_, failure_));
}

void Run::AddWorkers() {
  const std::string work = world_.Path("work/");
  // Several of those that wait most of the time, so that what they lose adds up.
  for (int i = 0; i < 3; ++i) {
    const std::string number = std::to_string(i);
    Add("commands", MakeCommandTask(work + "commands" + number));
    Add("dispatch", MakeDispatchTask());
    Add("locks", MakeLockTask(work + "locks"));
    Add("signals", MakeSignalTask("soak-signal" + number));
    Add("sockets", MakeSocketTask());
  }
  Add("copies", MakeCopyTask(work + "copies"));
  Add("folders", MakeFolderTask(work + "folders"));
  Add("records", MakeRecordTask(world_.Path("outside"), world_.Path("temporary")));
  // The one that never waits: no processor is idle.
  const unsigned int processors = std::max(std::thread::hardware_concurrency(), 1U);
  for (unsigned int i = 0; i < processors; ++i) Add("texts", MakeTextTask(work + "texts" + std::to_string(i)));
  Add("threads", MakeThreadTask());
  if (options_.leak != Leak::kNone) Add("leak", MakeLeakTask(options_.leak, work + "leak"));
}

bool Run::Do() {
  OpenNewLedger();
  for (const auto& worker : workers_) worker->Start(kPriority);
  const gint64 end = begin_ + options_.seconds * kSecond;
  while (failure_.Text().empty() && !stop_.HasCome() && g_get_monotonic_time() < end) {
    Sell();
    if (failure_.Text().empty() && !stop_.HasCome()) BeQuiet();
  }
  EndWorkers();
  return Report();
}

/// One window, in which the main thread sells.
void Run::Sell() {
  try {
    while (failure_.Text().empty() && !stop_.HasCome() && !IsWindowOver()) shop_.Round();
  } catch (const std::exception& error) {
    failure_.Note(std::string("store: not so: ") + error.what());
  }
}

bool Run::IsWindowOver() const {
  const unsigned int whole = options_.WindowSeconds() * (windows_ + 1);
  return g_get_monotonic_time() >= begin_ + std::min(whole, options_.seconds) * kSecond;
}

/// Everybody stands still, and what the process has is looked at.
void Run::BeQuiet() {
  ++windows_;
  gate_.Close();
  if (WaitForWorkers()) {
    OpenNewLedger();
    FillEventPool();
    const unsigned int freeze_ms = host_.TakeLongestFreezeMs();
    host_.BeginPause();
    const Sample sample = LookUntilSettled();
    if (windows_ > kWarmUpWindows) samples_.push_back(sample);
    PrintWindow(sample, freeze_ms);
    Judge(freeze_ms);
    host_.TakeLongestFreezeMs();
    host_.EndPause();
  }
  gate_.Open();
}

/// The loop goes on: workers wait for what they have sent to the main thread.
bool Run::WaitForWorkers() {
  const gint64 end = g_get_monotonic_time() + kRoundLimit;
  while (gate_.Waiting() < workers_.size()) {
    if (!failure_.Text().empty() || stop_.HasCome()) return false;
    if (g_get_monotonic_time() > end) {
      failure_.Note("a worker hangs");
      return false;
    }
    ProcessWaitAndProcessEvents(kMomentMs);
  }
  LProcessClearCurrentEvents();
  return true;
}

/// The ledger keeps every transaction, and what is read of it: each window has a new one, so that nothing grows which
/// is meant to. Nobody else reads the environment meanwhile. Two values in turn, since the C library frees none.
void Run::OpenNewLedger() {
  const std::string old_ledger = world_.Path(windows_ % 2 == 0 ? "ledger-b" : "ledger-a");
  const std::string ledger = world_.Path(windows_ % 2 == 0 ? "ledger-a" : "ledger-b");
  setenv("TILLVANE_STORE_LEDGER", ledger.c_str(), 1);
  try {
    for (int i = 0; i < 4; ++i) shop_.Round();
  } catch (const std::exception& error) {
    failure_.Note(std::string("store, with a new ledger: not so: ") + error.what());
  }
  // The store's own thread still writes down what is finished.
  ProcessWaitAndProcessEvents(kStoreRestMs);
  std::error_code ignored;
  std::filesystem::remove_all(old_ledger, ignored);
}

/// The library keeps freed events for the next ones, as many as have been queued together, up to a bound. They are so
/// many from the beginning.
void Run::FillEventPool() {
  constexpr int more_than_it_keeps = 20000;
  for (int i = 0; i < more_than_it_keeps; ++i) LEventQueuePost(kEventClass, kEventKind, 1);
  while (LEventQueueCount() > 0) LProcessClearEventQueue();
}

Sample Run::LookUntilSettled() {
  const gint64 end = g_get_monotonic_time() + kSettleLimit;
  Sample sample = watch_.Look();
  while (!samples_.empty() && sample.counts != samples_.front().counts && g_get_monotonic_time() < end) {
    LProcessInterfaceVoid().ProcessWait(kMomentMs);
    sample = watch_.Look();
  }
  return sample;
}

void Run::PrintWindow(const Sample& sample, unsigned int freeze_ms) {
  std::printf(
      "%5.0f s%s  blocks %ld  heap %.3f MiB  resident %.1f MiB  descriptors %d  threads %d  semaphores %d  shared %d  "
      "children %d  files %d  freeze %u ms  rounds: store %lu",
      Seconds(), windows_ > kWarmUpWindows ? "" : " (warm-up)", sample.blocks, static_cast<double>(sample.heap) / kMiB,
      static_cast<double>(sample.resident) / kMiB, sample.counts.descriptors, sample.counts.threads,
      sample.counts.semaphores, sample.counts.shared_memory, sample.counts.children, sample.counts.files, freeze_ms,
      shop_.Rounds());
  std::map<std::string, unsigned long> rounds;
  for (const auto& worker : workers_) rounds[worker->Name()] += worker->Rounds();
  for (const auto& [name, count] : rounds) std::printf(" %s %lu", name.c_str(), count);
  std::puts("");
}

void Run::Judge(unsigned int freeze_ms) {
  if (freeze_ms > kFreezeLimitMs) failure_.Note("the main loop stood still for " + std::to_string(freeze_ms) + " ms");
  const std::string news = watch_.NewDescriptors();
  if (samples_.empty()) return;
  const std::string changed = CompareCounts(samples_.front().counts, samples_.back().counts);
  if (!changed.empty()) failure_.Note(changed + "new descriptors:" + news);
}

/// The shop is closed already; what the workers wait for on the main thread still comes.
void Run::EndWorkers() {
  gate_.End();
  for (const auto& worker : workers_) {
    while (worker->IsRunning()) ProcessWaitAndProcessEvents(kMomentMs);
  }
  workers_.clear();
}

bool Run::Report() {
  // Ctrl-C on a terminal reaches the commands that are running as well: what they did is no failure then.
  const std::string failure = stop_.HasCome() ? "" : failure_.Text();
  const std::string growth = failure + FindGrowth(samples_);
  std::printf("soak: %s after %.0f s%s%s\n", growth.empty() ? "passed" : "FAILED", Seconds(),
              stop_.HasCome() ? ", stopped early" : "", growth.empty() ? ": nothing grew" : (": " + growth).c_str());
  return growth.empty();
}

double Run::Seconds() const { return static_cast<double>(g_get_monotonic_time() - begin_) / kSecond; }

}  // namespace soak
