#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <tillvane/tillvane.h>

namespace {

int failures = 0;

void Check(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "consumer: does not hold: %s\n", what);
  ++failures;
}

#define CHECK(condition) Check(condition, #condition)

/// A host's own process interface: keeps what it is told.
class Reporter : public LProcessInterfaceVoid {
 public:
  void SetError(const char* text) override { std::snprintf(error, sizeof error, "%s", text); }
  char error[64] = "";
};

void CheckSignals() {
  LSignalObject signal;
  CHECK(!signal.IsSignaled());
  CHECK(!signal.WaitSignal(1));
  signal.Signal();
  signal.Signal();
  CHECK(signal.IsSignaled());
  CHECK(signal.WaitSignal(0xFFFFFFFF));
  LSignalObject other;
  CHECK(other.WaitSignalDual(signal, 0));
  LSignalObjectGroup group;
  group.Add(signal);
  CHECK(group.Select(0));
  signal.Reset();
  CHECK(!signal.IsSignaled());
  CHECK(!group.Select(0));
}

/// There for hosts that call them; they do nothing.
void CheckPanes() {
  LOpenSoundPane();
  LOpenUniversalAccessPane();
}

void CheckProcessInterface() {
  LProcessInterfaceVoid process;
  LSignalObject signal;
  CHECK(!process.IsToStop());
  CHECK(!process.ProcessWait(1));
  CHECK(process.ProcessWaitSignal(signal, 1) == 2);
  signal.Signal();
  CHECK(process.ProcessWaitSignal(signal, 1) == 0);
  Reporter reporter;
  reporter.SetErrorF("%s %d", "error", 7);
  CHECK(std::strcmp(reporter.error, "error 7") == 0);
}

void CheckWaitsThatPump() {
  LProcessEventsHandlerNeverStop handler;
  LSignalObject signal;
  CHECK(!handler.IsProcessEventHandlerToStop());
  CHECK(handler.ProcessWaitAndProcessEvents(5) == 0);
  CHECK(handler.ProcessWaitSignalAndProcessEvents(signal, 5) == 2);
  signal.Signal();
  CHECK(handler.ProcessWaitSignalAndProcessEvents(signal, 60000) == 0);
  CHECK(handler.ProcessWaitSignalForeverAndProcessEvents(signal) == 0);
  CHECK(ProcessWaitSignalObjectAndProcessEvents(signal) == 0);
  CHECK(ProcessWaitAndProcessEvents(1) == 0);
}

void CheckEventQueue() {
  LProcessClearEventQueue();
  CHECK(LEventQueueCount() == 0);
  CHECK(LEventQueueDescriptor() >= 0);
  CHECK(LEventQueuePost(1, 2, 1));
  CHECK(!LEventQueuePost(1, 2, 3));
  CHECK(LEventQueueCount() == 1);
  CHECK(LEventQueueDrain());
  CHECK(LEventQueueCount() == 0);
  CHECK(!LProcessClearCurrentEvents());
  LRunLoopEnter([](void*) {}, nullptr);
  LRunLoopLeave();
}

class Sleeper : public LDetachedThread {
 public:
  void ThreadFunction() override { ProcessWait(60000); }
};

void CheckThreads() {
  CHECK(LIsMainThread());
  LDetachedThreadsOwner owner;
  auto* const sleeper = new Sleeper;
  owner.Add(sleeper);
  // Who was started with a worse priority may not have the ordinary one.
  const int started = sleeper->StartDetached(owner, 31);
  CHECK(started == 0 || started == EACCES);
  owner.StopThreadsNow();
  auto* const run = new ProcessRunData;
  run->command = "exit 3";
  run->release.Signal();
  LStringLong copy;
  copy.Append(run->command.c_str());
  CHECK(copy.size() == 6);
  CHECK(ProcessRunThreadCallback(run) == nullptr);
}

void CheckLocks() {
  LLockObjectShared lock;
  lock.LockShared();
  lock.UpgradeLock();
  lock.DowngradeLock();
  lock.UnlockShared();
  lock.LockExclusive();
  lock.UnlockExclusive();
  CHECK(flocktimed(-1, 6, 0) != 0);
}

/// A host's own thread, which reports to the host on the main thread.
class Worker : public LThreadNotifyInterface {
 public:
  using LThreadNotifyInterface::LThreadNotifyInterface;
  void ThreadFunction() override { SetError("from a thread"); }
};

class Notified : public LThreadQueuedNotify {
 public:
  void QueuedNotify() override { ++count; }
  int count = 0;
};

class Work : public LThreadRunOnMainThreadData {
 public:
  explicit Work(bool& done) : done_(done) {}
  void MainThreadFunction() override { done_ = true; }

 private:
  bool& done_;
};

void CheckMainThreadDispatch() {
  LThreadRunOnMainThread::Init();
  LThreadRunOnMainThread sender;
  bool done = false;
  sender.RunOnMainThread(new Work(done));
  Notified notified;
  notified.PostQueueNotify();
  Reporter reporter;
  Worker worker(&reporter);
  worker.Start(31);
  worker.JoinThread();
  CHECK(sender.GetRefCount() == 1);
  CHECK(LEventQueueDrain());
  CHECK(done);
  CHECK(notified.count == 1);
  CHECK(std::strcmp(reporter.error, "from a thread") == 0);
  worker.QueuedNotifyDataHandlerDestroy();
  notified.ThreadQueuedNotifyDestroy();
  sender.ThreadRunOnMainThreadDestroy();
  LThreadRunOnMainThread::Destroy();
}

void CheckBundle() {
  CHECK(!LIsApplicationBundled());
  char resources[260] = "";
  LGetInstalledApplicationResourcesFolder(resources, sizeof resources);
  CHECK(resources[0] == '/');
  LCFURL url;
  CHECK(url.CreateFromFullPath("/tmp"));
  char path[16] = "";
  CHECK(url.GetPath(path, sizeof path));
  CHECK(std::strcmp(path, "%2Ftmp") == 0);
  const LToFSSpec spec("/");
  spec.GetString(path, sizeof path);
  CHECK(std::strcmp(path, "/") == 0);
  int major = 0, minor = 0;
  CHECK(!LCFBundle().GetVersionNumber(major, minor));
  const unsigned short units[] = {'a', 'b', 0};
  LStringLong text;
  LUnicodeString(units).GetString(text);
  CHECK(std::strcmp(text.c_str(), "ab") == 0);
  LCFString string;
  string.SetString("text");
  string.GetString(path, sizeof path);
  CHECK(std::strcmp(path, "text") == 0);
  CHECK(!LRevealInFinder(""));
}

void CheckStore(bool able_to_pay) {
  LProcessInterfaceVoid process;
  TillvaneManager* manager = TillvaneInit();
  CHECK(manager != nullptr);
  CHECK(TillvaneIsAbleToMakePayments(manager, process) == able_to_pay);
  // Without a price there is nothing to buy.
  CHECK(TillvanePurchaseApplication(manager, process, false) == 2);
  TillvaneSetPurchaseConfirmation(nullptr, nullptr);
  TillvaneDecideDeferredPurchases(true);
  TillvaneDestroy(manager);
  TillvaneDestroy(nullptr);
}

}  // namespace

/// Uses a little of everything that the package offers. The one argument says whether payments are allowed: yes or no.
int main(int argc, char** argv) {
  if (argc != 2) return 2;
  CheckSignals();
  CheckPanes();
  CheckProcessInterface();
  CheckWaitsThatPump();
  CheckEventQueue();
  CheckThreads();
  CheckLocks();
  CheckMainThreadDispatch();
  CheckBundle();
  CheckStore(std::strcmp(argv[1], "yes") == 0);
  return failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
