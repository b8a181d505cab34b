#include <strings.h>
#include <tillvane/tillvane.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "commands.h"

namespace toolkit {

int PsCommand(int count, char** arguments) {
  if (count > 1) return kWrongUse;
  kinfo_proc* list = nullptr;
  const unsigned int processes = LGetBSDProcessList(&list);
  const std::unique_ptr<kinfo_proc, decltype(&std::free)> owned(list, &std::free);
  // Without memory the list is missing, whatever the count is.
  if (list == nullptr) return kNothing;
  int status = kNothing;
  std::for_each(list, list + processes, [&](const kinfo_proc& process) {
    if (count == 1 && strcasecmp(process.kp_proc.p_comm, arguments[0]) != 0) return;
    std::printf("%7d %s\n", static_cast<int>(process.kp_proc.p_pid), process.kp_proc.p_comm);
    status = kDone;
  });
  return status;
}

}  // namespace toolkit
