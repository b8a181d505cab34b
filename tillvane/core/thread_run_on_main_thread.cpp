#include <cstddef>
#include <memory>
#include <new>
#include <utility>

#include <tillvane/core/LThreadRunOnMainThread.h>
#include <tillvane/core/event_codes.h>
#include <tillvane/core/mutex_guard.h>
#include <tillvane/platform/event_queue.h>
#include <tillvane/platform/thread_id.h>

using core::MutexGuard;

// The order and the widths of the fields are part of the binary interface.
struct LThreadRunOnMainThreadLayout {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
  using Sender = LThreadRunOnMainThread;
  static_assert(sizeof(Sender::active_) == 1 && sizeof(Sender::destroying_) == 1);
  static_assert(offsetof(Sender, active_) == sizeof(void*));
  static_assert(offsetof(Sender, destroying_) == offsetof(Sender, active_) + 1);
  static_assert(offsetof(Sender, count_lock_) == 2 * sizeof(void*));
  static_assert(offsetof(Sender, count_) == offsetof(Sender, count_lock_) + sizeof(pthread_mutex_t));
  static_assert(sizeof(Sender::count_) == 4);
#pragma GCC diagnostic pop
};
static_assert(std::atomic<bool>::is_always_lock_free);
static_assert(sizeof(LThreadRunOnMainThreadData) == sizeof(void*));

namespace {

constinit platform::EventHandler* installed = nullptr;

template <class T>
bool SetPointer(platform::Event* event, unsigned int name, T* pointer) {
  return platform::SetEventParameter(event, name, core::kTypeVoid, sizeof(void*), &pointer);
}

/// \return null when there is no event or no such parameter
template <class T>
T* GetPointer(const platform::Event* event, unsigned int name) {
  T* pointer = nullptr;
  const bool found =
      event != nullptr && platform::GetEventParameter(event, name, core::kTypeVoid, sizeof(void*), &pointer);
  return found ? pointer : nullptr;
}

/// The event's work, which whoever asks now owns.
std::unique_ptr<LThreadRunOnMainThreadData> GetData(const platform::Event* event) {
  return std::unique_ptr<LThreadRunOnMainThreadData>(
      GetPointer<LThreadRunOnMainThreadData>(event, core::kDispatchData));
}

/// \return an event with one reference, null when memory ran out
platform::Event* MakeEvent(LThreadRunOnMainThread* sender, LThreadRunOnMainThreadData* data) {
  platform::Event* event = platform::CreateEvent(core::kDispatchClass, core::kDispatchKind);
  if (event == nullptr) return nullptr;
  if (SetPointer(event, core::kDispatchSender, sender) && SetPointer(event, core::kDispatchData, data)) return event;
  platform::ReleaseEvent(event);
  return nullptr;
}

/// A function of the main thread that comes back to a sender after foreign code has run, which may have freed it.
class SenderInUse {
 public:
  explicit SenderInUse(LThreadRunOnMainThread* sender) : sender_(sender), outer_(innermost) { innermost = this; }
  ~SenderInUse() { innermost = outer_; }
  SenderInUse(const SenderInUse&) = delete;
  SenderInUse& operator=(const SenderInUse&) = delete;

  /// Null once it is freed.
  LThreadRunOnMainThread* Get() const { return sender_; }

  static void Forget(const LThreadRunOnMainThread* freed) {
    for (SenderInUse* one = innermost; one != nullptr; one = one->outer_) {
      if (one->sender_ == freed) one->sender_ = nullptr;
    }
  }

 private:
  static inline constinit SenderInUse* innermost = nullptr;

  LThreadRunOnMainThread* sender_;
  SenderInUse* const outer_;
};

bool HandleEvent(platform::Event* event, void* data) {
  return LThreadRunOnMainThread::EventHandler(nullptr, platform::NativeEvent(event), data) == 0;
}

bool Withdraw(platform::Event* event, void* in_use) {
  LThreadRunOnMainThread* const sender = static_cast<SenderInUse*>(in_use)->Get();
  return sender != nullptr && LThreadRunOnMainThread::FlushEventFromQueueCallBack(platform::NativeEvent(event), sender);
}

}  // namespace

LThreadRunOnMainThreadData::~LThreadRunOnMainThreadData() = default;

void LThreadRunOnMainThread::Init() {
  if (installed != nullptr) return;
  installed = platform::InstallEventHandler(core::kDispatchClass, core::kDispatchKind, HandleEvent, nullptr);
}

void LThreadRunOnMainThread::Destroy() {
  if (platform::EventHandler* const handler = std::exchange(installed, nullptr)) platform::RemoveEventHandler(handler);
}

LThreadRunOnMainThread::LThreadRunOnMainThread() { core::InitRecursiveMutex(count_lock_); }

LThreadRunOnMainThread::~LThreadRunOnMainThread() {
  if (platform::IsMainThread()) SenderInUse::Forget(this);
  pthread_mutex_destroy(&count_lock_);
}

void LThreadRunOnMainThread::RunOnMainThread(LThreadRunOnMainThreadData* data) { Post(data); }

/// \return false when the post was dropped: the data is the caller's then
bool LThreadRunOnMainThread::Post(LThreadRunOnMainThreadData* data) {
  if (data == nullptr || !TakesPosts()) return false;
  platform::Event* const event = MakeEvent(this, data);
  if (event == nullptr) throw std::bad_alloc();
  {
    // Looking and posting are one step, so that no event follows after the sender has withdrawn its own.
    const MutexGuard guard(count_lock_);
    if (TakesPosts()) {
      ++count_;
      if (platform::PostAndReleaseEvent(event, platform::kHighPriority)) return true;
      --count_;
      throw std::bad_alloc();
    }
  }
  platform::ReleaseEvent(event);
  return false;
}

/// Frees what is dropped.
void LThreadRunOnMainThread::PostOwned(std::unique_ptr<LThreadRunOnMainThreadData> data) {
  if (Post(data.get())) static_cast<void>(data.release());
}

void LThreadRunOnMainThread::IncRefCount() {
  const MutexGuard guard(count_lock_);
  ++count_;
}

void LThreadRunOnMainThread::DecRefCount() {
  const MutexGuard guard(count_lock_);
  --count_;
}

int LThreadRunOnMainThread::GetRefCount() const {
  const MutexGuard guard(count_lock_);
  return count_;
}

void LThreadRunOnMainThread::ThreadRunOnMainThreadDestroy() {
  if (!active_) return;
  {
    const MutexGuard guard(count_lock_);
    destroying_ = true;
  }
  SenderInUse in_use(this);
  platform::FlushEvents(Withdraw, &in_use);
  if (in_use.Get() != nullptr) active_ = false;
}

bool LThreadRunOnMainThread::FlushEventFromQueue(EventRef native) {
  platform::Event* const event = platform::EventOfNative(native);
  if (GetPointer<LThreadRunOnMainThread>(event, core::kDispatchSender) != this) return false;
  std::unique_ptr<LThreadRunOnMainThreadData> data = GetData(event);
  if (data == nullptr) return true;
  const SenderInUse in_use(this);
  // First, so that a withdrawal from within the destructor does not come upon the data again.
  SetPointer<LThreadRunOnMainThreadData>(event, core::kDispatchData, nullptr);
  data.reset();
  if (in_use.Get() != nullptr) DecRefCount();
  return true;
}

bool LThreadRunOnMainThread::FlushEventFromQueueCallBack(EventRef event, void* owner) {
  return owner != nullptr && static_cast<LThreadRunOnMainThread*>(owner)->FlushEventFromQueue(event);
}

OSStatus LThreadRunOnMainThread::EventHandler(EventHandlerCallRef, EventRef native, void*) noexcept {
  const platform::Event* const event = platform::EventOfNative(native);
  std::unique_ptr<LThreadRunOnMainThreadData> data = GetData(event);
  if (data == nullptr) return 0;
  const SenderInUse in_use(GetPointer<LThreadRunOnMainThread>(event, core::kDispatchSender));
  data->MainThreadFunction();
  data.reset();
  if (in_use.Get() != nullptr) in_use.Get()->DecRefCount();
  return 0;
}
