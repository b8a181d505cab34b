#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>

#include <tillvane/core/LQueuedNotify.h>

// The order and the widths of the fields are part of the binary interface.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
struct LThreadQueuedNotifyLayout {
  static_assert(offsetof(LThreadQueuedNotify, sender_) == sizeof(void*));
};

struct LThreadQueuedNotifyDataLayout {
  static_assert(offsetof(LThreadQueuedNotifyData, notify_) == sizeof(void*));
  static_assert(sizeof(LThreadQueuedNotifyData) == 2 * sizeof(void*));
};

struct LQueuedNotifyDataHandlerLayout {
  static_assert(offsetof(LQueuedNotifyDataHandler, sender_) == sizeof(void*));
};

struct LQueuedNotifyDataHandlerDataLayout {
  using Data = LQueuedNotifyDataHandlerData;
  static_assert(offsetof(Data, handler_) == sizeof(void*));
  static_assert(offsetof(Data, code_) == 2 * sizeof(void*) && sizeof(Data::code_) == 4);
  static_assert(offsetof(Data, copy_) == 3 * sizeof(void*) && sizeof(Data::copy_) == sizeof(void*));
  static_assert(offsetof(Data, size_) == 4 * sizeof(void*) && sizeof(Data::size_) == 4);
};
#pragma GCC diagnostic pop

namespace {

constexpr unsigned long kLargestSize = 0xFFFFFFFF;

std::unique_ptr<unsigned char[]> Copy(const void* data, unsigned long size) {
  if (data == nullptr) return nullptr;
  if (size > kLargestSize) throw std::bad_array_new_length();
  // Not make_unique, which would clear it first.
  std::unique_ptr<unsigned char[]> copy(new unsigned char[size]);
  std::memcpy(copy.get(), data, size);
  return copy;
}

}  // namespace

LThreadQueuedNotify::LThreadQueuedNotify() = default;

LThreadQueuedNotify::~LThreadQueuedNotify() = default;

void LThreadQueuedNotify::PostQueueNotify() {
  if (!sender_.TakesPosts()) return;
  sender_.PostOwned(std::make_unique<LThreadQueuedNotifyData>(this));
}

void LThreadQueuedNotify::ThreadQueuedNotifyDestroy() { sender_.ThreadRunOnMainThreadDestroy(); }

LThreadQueuedNotifyData::LThreadQueuedNotifyData(LThreadQueuedNotify* notify) : notify_(notify) {}

LThreadQueuedNotifyData::~LThreadQueuedNotifyData() = default;

void LThreadQueuedNotifyData::MainThreadFunction() { notify_->QueuedNotify(); }

LQueuedNotifyDataHandler::LQueuedNotifyDataHandler() = default;

LQueuedNotifyDataHandler::~LQueuedNotifyDataHandler() = default;

void LQueuedNotifyDataHandler::PostNotifyFromSender(unsigned int code, const void* data, unsigned long size) {
  if (!sender_.TakesPosts()) return;
  sender_.PostOwned(std::make_unique<LQueuedNotifyDataHandlerData>(this, code, data, size));
}

void LQueuedNotifyDataHandler::QueuedNotifyDataHandlerDestroy() { sender_.ThreadRunOnMainThreadDestroy(); }

LQueuedNotifyDataHandlerData::LQueuedNotifyDataHandlerData(LQueuedNotifyDataHandler* handler, unsigned int code,
                                                           const void* data, unsigned long size)
    : handler_(handler),
      code_(code),
      copy_(Copy(data, size)),
      size_(static_cast<unsigned int>(std::min(size, kLargestSize))) {}

LQueuedNotifyDataHandlerData::~LQueuedNotifyDataHandlerData() = default;

void LQueuedNotifyDataHandlerData::MainThreadFunction() { handler_->EvQueuedNotifyData(code_, copy_.get(), size_); }
