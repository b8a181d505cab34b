#include <cstddef>
#include <cstring>

#include <tillvane/diag/thread_registry.h>
#include <tillvane/platform/thread_id.h>
#include <tillvane/text/LStringFormat.h>

// The order and the widths of the fields are part of the binary interface.
struct LBugReportBlockScopeLayout {
  static_assert(offsetof(LBugReportBlockScope, name_) == 0);
  static_assert(offsetof(LBugReportBlockScope, index_) == 8);
  static_assert(sizeof(LBugReportBlockScope) == 12);
};

namespace {

constexpr std::size_t kTagLength = 4;

/// A text and the last three digits of a thread's number, the lowest first; what does not fit is cut.
template <std::size_t size>
void FormatWithDigits(char (&out)[size], const char* text, unsigned int id) {
  tplsnprintf(out, size, "%s%d%d%d", text, static_cast<int>(id % 10), static_cast<int>(id % 100 / 10),
              static_cast<int>(id % 1000 / 100));
}

}  // namespace

void LDebugFormatThreadName(char* out, const char* tag, unsigned int id) {
  // Not in `out`, where the tag may lie.
  char name[sizeof LDebugThreadData::name];
  if (tag == nullptr) {
    tplsnprintf(name, sizeof name, "%.4d", static_cast<int>(id % 10000));
  } else {
    char start[kTagLength + 1] = {};
    std::memcpy(start, tag, strnlen(tag, kTagLength));
    FormatWithDigits(name, start, id);
  }
  std::memcpy(out, name, std::strlen(name) + 1);
}

void LDebugThreadSetName(const char* tag) {
  const unsigned int id = platform::CurrentThreadId();
  const unsigned int index = diag::FindRecord(id);
  if (index != diag::kNoRecord) LDebugFormatThreadName(gDebugThreadData[index].name, tag, id);
}

void LDebugThreadSetLastDialog(const char* text) {
  const unsigned int id = platform::CurrentThreadId();
  const unsigned int index = diag::FindRecord(id);
  if (index == diag::kNoRecord) return;
  char dialog[sizeof LDebugThreadData::dialog];
  FormatWithDigits(dialog, text, id);
  std::memcpy(gDebugThreadData[index].dialog, dialog, std::strlen(dialog) + 1);
}

LBugReportBlockScope::LBugReportBlockScope(const char* tag) : index_(diag::FindRecord(platform::CurrentThreadId())) {
  if (index_ == diag::kNoRecord) return;
  std::memcpy(name_, gDebugThreadData[index_].name, sizeof name_);
  LDebugThreadSetName(tag);
}

LBugReportBlockScope::~LBugReportBlockScope() {
  // A record that was given up meanwhile may be another thread's.
  if (index_ == diag::kNoRecord || index_ != diag::FindRecord(platform::CurrentThreadId())) return;
  std::memcpy(gDebugThreadData[index_].name, name_, sizeof name_);
}
