#include <cstddef>
#include <cstdio>
#include <cstring>
#include <iterator>

#include <tillvane/diag/status_slot.h>
#include <tillvane/diag/thread_registry.h>
#include <tillvane/platform/system_version.h>
#include <tillvane/platform/thread_id.h>

namespace {

constexpr std::size_t kLineSize = 260;
using Line = char[kLineSize];

/// A record's texts, or what stands for them where there is no record.
struct ThreadPart {
  char name[sizeof LDebugThreadData::name] = "Unknown";
  char dialog[sizeof LDebugThreadData::dialog] = "";
};

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

void DescribeSystem(Line& out) {
  const platform::SystemVersion version = platform::CurrentSystemVersion();
  std::snprintf(out, sizeof out, "Mac%s%d%02d", "Intel", static_cast<int>(version.major_number & 0xFF),
                static_cast<int>(version.minor_number & 0xFF));
}

ThreadPart DescribeThread(unsigned int id) {
  ThreadPart part;
  const diag::RegistryLock lock;
  const unsigned int index = lock.IsHeld() ? diag::FindRecord(id) : diag::kNoRecord;
  if (index == diag::kNoRecord) return part;
  const LDebugThreadData& record = gDebugThreadData[index];
  std::memcpy(part.name, record.name, sizeof part.name);
  std::memcpy(part.dialog, record.dialog, sizeof part.dialog);
  if (IsDigit(part.name[0])) part.name[0] = '\0';
  return part;
}

/// What the main thread is about.
void DescribePhase(Line& out) {
  constexpr const char* names[] = {nullptr, "GloIni1", "GuiIni2", "GuiDes3", "GloDes4"};
  const unsigned int command = gwDebugCurrentCommand;
  if (command == 0) {
    std::snprintf(out, sizeof out, "Ukn0(LstCmd%d)", static_cast<int>(gwDebugLastCommand));
  } else if (command < std::size(names)) {
    std::snprintf(out, sizeof out, "%s", names[command]);
  } else {
    std::snprintf(out, sizeof out, "(Cmd%d)", static_cast<int>(command));
  }
}

void DescribeCommand(unsigned int id, Line& out) {
  if (diag::status_slot.Copy(id, out)) return;
  if (id == gdwMainThreadId) DescribePhase(out);
}

const char* OrEmpty(const char* text) { return text != nullptr ? text : ""; }

}  // namespace

int LDebugGenerateXIString(char* out, const char* first, const char* third) {
  out[0] = '\0';
  Line system, command, thread, line;
  DescribeSystem(system);
  const unsigned int id = platform::CurrentThreadId();
  const ThreadPart part = DescribeThread(id);
  DescribeCommand(id, command);
  [[maybe_unused]] const int cut = std::snprintf(thread, sizeof thread, "%s%s%s", part.name, part.dialog, command);
  const int count = std::snprintf(line, sizeof line, "%s-%s-%s-%s", OrEmpty(first), system, OrEmpty(third), thread);
  std::memcpy(out, line, std::strlen(line) + 1);
  return count;
}
