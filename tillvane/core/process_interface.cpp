#include <array>
#include <cstdarg>
#include <cstdio>

#include <tillvane/core/LProcessInterface.h>
#include <tillvane/core/sleep_for.h>

namespace {

/// A report's text: what does not fit is cut.
class ReportText {
 public:
  __attribute__((format(printf, 2, 0))) ReportText(const char* format, va_list arguments) {
    // A format that the C library refuses reports an empty text.
    if (std::vsnprintf(buffer_.data(), buffer_.size(), format, arguments) < 0) buffer_[0] = '\0';
  }
  const char* Get() const { return buffer_.data(); }

 private:
  std::array<char, 8192> buffer_;
};

}  // namespace

void LProcessInterface::SetError(const char*) {}
void LProcessInterface::SetStatus(const char*, int) {}
void LProcessInterface::SetProgress(double) {}
void LProcessInterface::SetProgressIndeterminateOn() {}
void LProcessInterface::SetProgressIndeterminateOff() {}

void LProcessInterface::SetErrorF(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const ReportText text(format, arguments);
  va_end(arguments);
  SetError(text.Get());
}

void LProcessInterface::SetStatusF(int value, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const ReportText text(format, arguments);
  va_end(arguments);
  SetStatus(text.Get(), value);
}

bool LProcessInterfaceVoid::IsToStop() { return false; }

bool LProcessInterfaceVoid::ProcessWait(unsigned int ms) {
  core::SleepFor(ms);
  return false;
}

int LProcessInterfaceVoid::ProcessWaitSignal(LSignalObjectRef signal, unsigned int ms) {
  return signal.WaitSignal(ms) ? 0 : 2;
}

int LProcessInterfaceVoid::ProcessWaitSignalObjectGroup(LSignalObjectGroup& group, unsigned int ms) {
  return group.Select(ms) ? 0 : 2;
}
