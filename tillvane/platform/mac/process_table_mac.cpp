#include <tillvane/platform/process_table.h>

#include <ApplicationServices/ApplicationServices.h>
#include <sys/sysctl.h>

#include <cerrno>
#include <cstddef>
#include <iterator>

namespace platform {

namespace {

/// \param size in bytes: what there is room for; receives what there is
bool AskKernel(kinfo_proc* records, std::size_t& size) {
  int name[] = {CTL_KERN, KERN_PROC, KERN_PROC_ALL};
  return sysctl(name, static_cast<unsigned int>(std::size(name)), records, &size, nullptr, 0) == 0;
}

}  // namespace

unsigned long ProcessTableSize() {
  std::size_t size = 0;
  return AskKernel(nullptr, size) ? size / sizeof(kinfo_proc) : 0;
}

ProcessTable ReadProcessTable(kinfo_proc* records, unsigned long room, unsigned long& count) {
  std::size_t size = room * sizeof(kinfo_proc);
  if (AskKernel(records, size)) {
    count = size / sizeof(kinfo_proc);
    return ProcessTable::kRead;
  }
  count = errno == ENOMEM ? ProcessTableSize() : 0;
  return count != 0 ? ProcessTable::kTooLarge : ProcessTable::kFailed;
}

#pragma clang diagnostic push
// What is named instead knows neither signatures nor serial numbers.
#pragma clang diagnostic ignored "-Wdeprecated-declarations"

bool FindApplication(unsigned int signature, unsigned int type, ProcessSerialNumber& number) {
  ProcessSerialNumber next = {0, kNoProcess};
  while (GetNextProcess(&next) == noErr) {
    ProcessInfoRec info = {};
    info.processInfoLength = sizeof info;
    if (GetProcessInformation(&next, &info) != noErr) continue;
    if (info.processSignature != signature || info.processType != type) continue;
    number = next;
    return true;
  }
  return false;
}

#pragma clang diagnostic pop

}  // namespace platform
