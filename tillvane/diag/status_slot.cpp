#include <tillvane/diag/status_slot.h>

#include <tillvane/diag/LDebugThread.h>
#include <tillvane/platform/thread_id.h>

namespace diag {

constinit StatusSlot status_slot;

void StatusSlot::Empty() {
  owner_.store(0);
  text_[0].store('\0');
}

void StatusSlot::Set(unsigned int owner, const char* text) {
  // Before the text, each byte of which says so to whoever copies it: see Copy.
  owner_.store(owner);
  unsigned int length = 0;
  for (; text != nullptr && text[length] != '\0' && length < kStatusSize - 1; ++length) {
    text_[length].store(text[length], std::memory_order_release);
  }
  text_[length].store('\0', std::memory_order_release);
}

void StatusSlot::Clear(unsigned int owner) { owner_.compare_exchange_strong(owner, 0); }

bool StatusSlot::Copy(unsigned int owner, char (&out)[kStatusSize]) const {
  unsigned int length = 0;
  while (length < kStatusSize - 1 && (out[length] = text_[length].load(std::memory_order_acquire)) != '\0') ++length;
  out[length] = '\0';
  // Afterwards: a byte of another thread's came with that thread's number.
  if (owner_.load() == owner) return true;
  out[0] = '\0';
  return false;
}

void StatusSlot::MoveTo(unsigned int to, unsigned int from) { owner_.store(owner_.load() == from ? to : 0); }

}  // namespace diag

void LDebugThreadStatusSet(const char* text) { diag::status_slot.Set(platform::CurrentThreadId(), text); }

void LDebugThreadStatusClear() { diag::status_slot.Clear(platform::CurrentThreadId()); }
