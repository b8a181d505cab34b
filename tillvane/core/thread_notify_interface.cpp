#include <algorithm>
#include <cstddef>
#include <cstring>

#include <tillvane/core/LThreadNotifyInterface.h>
#include <tillvane/core/mutex_guard.h>

using core::MutexGuard;

// The order and the widths of the fields are part of the binary interface.
struct LThreadNotifyInterfaceLayout {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
  using Notify = LThreadNotifyInterface;
  static_assert(sizeof(Notify::sender_) == sizeof(void*));
  static_assert(offsetof(Notify, target_) == sizeof(LThread) + sizeof(LQueuedNotifyDataHandler));
  static_assert(offsetof(Notify, sender_) == offsetof(Notify, target_) + sizeof(void*));
  static_assert(offsetof(Notify, text_lock_) == offsetof(Notify, sender_) + sizeof(void*));
  static_assert(offsetof(Notify, status_0_) == offsetof(Notify, text_lock_) + sizeof(pthread_mutex_t));
  static_assert(offsetof(Notify, status_1_) == offsetof(Notify, status_0_) + 260);
  static_assert(sizeof(Notify::status_1_) == 260);
#pragma GCC diagnostic pop
};

namespace {

enum Code : unsigned int { kError, kStatus0, kStatus1, kProgress, kIndeterminateOn, kIndeterminateOff };

/// Truncated toward zero, as far as the number goes.
unsigned int Hundredths(double fraction) {
  constexpr double largest = 0xFFFFFFFF;
  const double hundredths = fraction * 100.0;
  // In this order what is no number is 0.
  return hundredths > 0 ? static_cast<unsigned int>(std::min(hundredths, largest)) : 0;
}

}  // namespace

LThreadNotifyInterface::LThreadNotifyInterface(LProcessInterface* target) : target_(target) {
  pthread_mutex_init(&text_lock_, nullptr);
}

LThreadNotifyInterface::~LThreadNotifyInterface() { pthread_mutex_destroy(&text_lock_); }

void LThreadNotifyInterface::SetNotifySender(LQueuedNotifyDataHandler* sender) { sender_ = sender; }

void LThreadNotifyInterface::Send(unsigned int code, const void* data, unsigned long size) {
  if (LQueuedNotifyDataHandler* const sender = sender_) sender->PostNotifyFromSender(code, data, size);
}

void LThreadNotifyInterface::SetError(const char* text) {
  if (text != nullptr) Send(kError, text, std::strlen(text) + 1);
}

void LThreadNotifyInterface::SetStatus(const char* text, int which) {
  if (text == nullptr || sender_ == nullptr || (which != 0 && which != 1)) return;
  KeepStatus(which == 0 ? status_0_ : status_1_, text);
  Send(which == 0 ? kStatus0 : kStatus1, nullptr, 0);
}

void LThreadNotifyInterface::KeepStatus(char* kept, const char* text) {
  const MutexGuard guard(text_lock_);
  const std::size_t length = strnlen(text, kTextSize - 1);
  std::memcpy(kept, text, length);
  kept[length] = '\0';
}

void LThreadNotifyInterface::SetProgress(double fraction) { Send(kProgress, nullptr, Hundredths(fraction)); }

void LThreadNotifyInterface::SetProgressIndeterminateOn() { Send(kIndeterminateOn, nullptr, 0); }

void LThreadNotifyInterface::SetProgressIndeterminateOff() { Send(kIndeterminateOff, nullptr, 0); }

void LThreadNotifyInterface::EvQueuedNotifyData(unsigned int code, const void* data, unsigned long size) {
  if (target_ == nullptr) return;
  switch (code) {
    case kError:
      if (data != nullptr && std::memchr(data, '\0', size) != nullptr)
        target_->SetError(static_cast<const char*>(data));
      return;
    case kStatus0:
      return ReportStatus(status_0_, 0);
    case kStatus1:
      return ReportStatus(status_1_, 1);
    case kProgress:
      return target_->SetProgress(static_cast<double>(size) * 0.01);
    case kIndeterminateOn:
      return target_->SetProgressIndeterminateOn();
    case kIndeterminateOff:
      return target_->SetProgressIndeterminateOff();
    default:
      return;
  }
}

void LThreadNotifyInterface::ReportStatus(const char* kept, int which) {
  char text[kTextSize];
  {
    const MutexGuard guard(text_lock_);
    std::memcpy(text, kept, sizeof text);
  }
  target_->SetStatus(text, which);
}
