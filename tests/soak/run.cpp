#include "run.h"

#include <unistd.h>

#include <algorithm>
#include <array>
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
/// What has not come to rest by then is taken as it is. Looks are so far apart.
constexpr gint64 kSettleLimit = 5 * kSecond;
constexpr unsigned int kFirstLookMs = 50, kLookMs = 5;
/// A main loop on a busy machine is late, but not so late.
constexpr unsigned int kFreezeLimitMs = 5000;
/// So much longer than a worker's round may the main thread take to show life: who hangs there is named first.
constexpr unsigned int kLifeLimit = 2 * kFreezeLimitMs / 1000;
/// A round with locks is short.
constexpr int kLockRoundMs = 5000;
constexpr unsigned int kMomentMs = 5;
constexpr unsigned int kStoreRestMs = 200;

/// Of events that nobody handles.
constexpr unsigned int kEventClass = 0x736F616B, kEventKind = 1;

constexpr double kMiB = 1024.0 * 1024.0;

}  // namespace

Run::Run(const Options& options, const PrivateWorld& world)
    : options_(options),
      world_(world),
      host_([this] { return stop_.HasCome(); }),
      shop_(host_),
      watch_(world.Path()),
      watchdog_(
          options.patience + kLifeLimit, [this] { return host_.SignsOfLife(); }, [this] { GiveUpOnMainThread(); }) {
  LThreadRunOnMainThread::Init();
  AddWorkers();
}

Run::~Run() {
  workers_.clear();
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
    Add("commands", MakeCommandTask(world_.Path("work/commands" + number)));
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
  for (const Leak leak : options_.leaks) Add("leak", MakeLeakTask(leak, work + "leak"));
  rounds_.resize(workers_.size());
}

bool Run::Do() {
  OpenNewLedger();
  StartWorkers();
  const gint64 end = begin_ + options_.seconds * kSecond;
  while (IsToGoOn() && g_get_monotonic_time() < end) {
    Sell();
    if (IsToGoOn()) BeQuiet();
  }
  if (!EndWorkers()) GiveUp();
  return Report();
}

void Run::StartWorkers() {
  for (const auto& worker : workers_) {
    worker->Start(kPriority);
    if (!worker->IsRunning()) failure_.Note(worker->Name() + ": the thread could not be made");
  }
  window_begin_ = g_get_monotonic_time();
}

bool Run::IsToGoOn() { return failure_.Text().empty() && hanging_.empty() && !stop_.HasCome(); }

/// One window, in which the main thread sells.
void Run::Sell() {
  try {
    while (IsToGoOn() && !IsWindowOver()) shop_.Round();
  } catch (const std::exception& error) {
    failure_.Note(std::string("store: not so: ") + error.what());
  }
}

bool Run::IsWindowOver() const {
  return g_get_monotonic_time() >=
         std::min(window_begin_ + options_.WindowSeconds() * kSecond, begin_ + options_.seconds * kSecond);
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
    RequireRounds();
    Judge(freeze_ms);
    host_.TakeLongestFreezeMs();
    host_.EndPause();
  }
  gate_.Open();
  window_begin_ = g_get_monotonic_time();
}

/// The loop goes on: workers wait for what they have sent to the main thread.
bool Run::WaitForWorkers() {
  const gint64 end = g_get_monotonic_time() + options_.patience * kSecond;
  while (gate_.Waiting() < workers_.size()) {
    if (!IsToGoOn()) return false;
    if (g_get_monotonic_time() > end) {
      hanging_ = WhoHangs();
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
  const std::string old_ledger = world_.Path(windows_ % 2 == 0 ? "ledger-2" : "ledger-1");
  const std::string ledger = world_.Path(windows_ % 2 == 0 ? "ledger-1" : "ledger-2");
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
  const bool is_first = samples_.empty();
  Settling settling(is_first ? nullptr : &samples_.front().counts);
  Sample sample = watch_.Look();
  while (!settling.IsSettledBy(sample.counts) && g_get_monotonic_time() < end) {
    LProcessInterfaceVoid().ProcessWait(is_first ? kFirstLookMs : kLookMs);
    host_.ShowLife();
    sample = watch_.Look();
  }
  return sample;
}

void Run::PrintWindow(const Sample& sample, unsigned int freeze_ms) {
  std::printf(
      "%5.0f s%s  blocks %ld  heap %.3f MiB  resident %.1f MiB  mapped %.0f MiB in %ld  descriptors %d  threads %d  "
      "semaphores %d  shared %d  children %d  files %d  freeze %u ms  rounds: store %lu",
      Seconds(), windows_ > kWarmUpWindows ? "" : " (warm-up)", sample.blocks, static_cast<double>(sample.heap) / kMiB,
      static_cast<double>(sample.resident) / kMiB, static_cast<double>(sample.mapped) / kMiB, sample.mappings,
      sample.counts.descriptors, sample.counts.threads, sample.counts.semaphores, sample.counts.shared_memory,
      sample.counts.children, sample.counts.files, freeze_ms, shop_.Rounds());
  std::map<std::string, unsigned long> rounds;
  for (const auto& worker : workers_) rounds[worker->Name()] += worker->Rounds();
  for (const auto& [name, count] : rounds) std::printf(" %s %lu", name.c_str(), count);
  std::puts("");
}

/// Who waited at the gate when it was opened has gone through it since. At first nobody waited there.
void Run::RequireRounds() {
  for (std::size_t i = 0; i < workers_.size(); ++i) {
    const unsigned long now = workers_[i]->Rounds();
    if (windows_ > 1 && now == rounds_[i]) failure_.Note(workers_[i]->Name() + ": no round since the last quiet point");
    rounds_[i] = now;
  }
}

void Run::Judge(unsigned int freeze_ms) {
  if (freeze_ms > kFreezeLimitMs) failure_.Note("the main loop stood still for " + std::to_string(freeze_ms) + " ms");
  const std::string news = watch_.NewDescriptors();
  if (samples_.empty()) return;
  const Counts &first = samples_.front().counts, &now = samples_.back().counts;
  std::string changed = CompareCounts(first, now);
  if (first.descriptors != now.descriptors) AddToList(&changed, "new descriptors:" + news);
  if (!changed.empty()) failure_.Note(changed);
}

/// The shop is closed already; what the workers wait for on the main thread still comes.
/// \return whether all have ended
bool Run::EndWorkers() {
  gate_.End();
  const gint64 end = g_get_monotonic_time() + options_.patience * kSecond;
  for (const auto& worker : workers_) {
    while (worker->IsRunning()) {
      ProcessWaitAndProcessEvents(kMomentMs);
      if (!worker->IsRunning() || g_get_monotonic_time() <= end) continue;
      hanging_ = WhoHangs();
      return false;
    }
  }
  workers_.clear();
  return true;
}

std::string Run::WhoHangs() const {
  std::string names = "no end of a round of:";
  for (const auto& worker : workers_) {
    if (worker->IsInRound()) names += ' ' + worker->Name();
  }
  return names;
}

bool Run::Report() {
  std::string wrong = hanging_;
  // Ctrl-C on a terminal reaches the commands that are running as well: what they did is no failure then.
  if (!stop_.HasCome()) AddToList(&wrong, failure_.Text());
  AddToList(&wrong, FindGrowth(samples_));
  std::printf("soak: %s after %.0f s%s: %s\n", wrong.empty() ? "passed" : "FAILED", Seconds(),
              stop_.HasCome() ? ", stopped early" : "",
              wrong.empty() ? SayWhatWasCompared(samples_.size()).c_str() : wrong.c_str());
  return wrong.empty();
}

void Run::GiveUp() {
  Report();
  std::fflush(stdout);
  EndWithoutDestructors();
}

/// On the watchdog's thread: what the run knows is the main thread's, which may stand still with the output's lock.
void Run::GiveUpOnMainThread() {
  std::array<char, 100> text;
  const int size =
      std::snprintf(text.data(), text.size(), "soak: FAILED after %.0f s: the main thread stands still\n", Seconds());
  [[maybe_unused]] const ssize_t written = write(STDOUT_FILENO, text.data(), static_cast<std::size_t>(size));
  EndWithoutDestructors();
}

/// The commands that tasks have started end by themselves with the pipes that they read or write.
void Run::EndWithoutDestructors() {
  // A lock that is being made would be made after all have been removed.
  gate_.Close();
  for (int ms = 0; ms < kLockRoundMs && IsLocking(); ++ms) LProcessInterfaceVoid().ProcessWait(1);
  watch_.RemoveSemaphoreSets();
  world_.EndProcess();
}

bool Run::IsLocking() const {
  return std::any_of(workers_.begin(), workers_.end(),
                     [](const auto& worker) { return worker->Name() == "locks" && worker->IsInRound(); });
}

double Run::Seconds() const { return static_cast<double>(g_get_monotonic_time() - begin_) / kSecond; }

}  // namespace soak
