#include <tillvane/platform/crash_backtrace.h>

#include <mach-o/dyld.h>
#include <mach-o/loader.h>
#include <unwind.h>

#include <cstring>

namespace platform {

namespace {

#if defined(__LP64__)
using Header = mach_header_64;
using Segment = segment_command_64;
constexpr std::uint32_t kSegmentCommand = LC_SEGMENT_64;
#else
using Header = mach_header;
using Segment = segment_command;
constexpr std::uint32_t kSegmentCommand = LC_SEGMENT;
#endif

// Only the code counts: libraries of the system keep it together and their data elsewhere, so that a module's first
// and last bytes may have others' between them.
void NoteSegment(const Segment& segment, LoadedModule& module) {
  if (std::strncmp(segment.segname, SEG_TEXT, sizeof segment.segname) != 0) return;
  module.begin = module.base + segment.vmaddr;
  module.end = module.begin + segment.vmsize;
}

void NoteCommand(const load_command& command, LoadedModule& module) {
  if (command.cmd == kSegmentCommand) {
    NoteSegment(reinterpret_cast<const Segment&>(command), module);
  } else if (command.cmd == LC_UUID) {
    const auto& uuid = reinterpret_cast<const uuid_command&>(command);
    module.build_id_size = sizeof uuid.uuid;
    std::memcpy(module.build_id, uuid.uuid, sizeof uuid.uuid);
  }
}

LoadedModule Describe(const mach_header* header, std::intptr_t slide, const char* name) {
  LoadedModule module = {};
  module.base = static_cast<std::uintptr_t>(slide);
  const char* place = reinterpret_cast<const char*>(header) + sizeof(Header);
  for (std::uint32_t i = 0; i < header->ncmds; ++i) {
    const auto& command = *reinterpret_cast<const load_command*>(place);
    NoteCommand(command, module);
    place += command.cmdsize;
  }
  std::memcpy(module.path, name, strnlen(name, sizeof module.path - 1));
  return module;
}

/// The return addresses as they are met.
struct Frames {
  void** addresses;
  unsigned int most;
  unsigned int count;
};

_Unwind_Reason_Code NoteFrame(_Unwind_Context* context, void* data) {
  Frames& frames = *static_cast<Frames*>(data);
  const std::uintptr_t address = _Unwind_GetIP(context);
  if (address == 0 || frames.count == frames.most) return _URC_END_OF_STACK;
  frames.addresses[frames.count++] = reinterpret_cast<void*>(address);
  return _URC_NO_REASON;
}

}  // namespace

void ListLoadedModules(void (*note)(const LoadedModule& module)) {
  // One that another thread unloads meanwhile moves the others up; its last number has nothing then.
  for (std::uint32_t i = 0; i < _dyld_image_count(); ++i) {
    const mach_header* const header = _dyld_get_image_header(i);
    const char* const name = _dyld_get_image_name(i);
    if (header != nullptr && name != nullptr) note(Describe(header, _dyld_get_image_vmaddr_slide(i), name));
  }
}

// The first walk may have to look up what the unwinder keeps for later ones.
void PrepareBacktrace() {
  void* address;
  CaptureBacktrace(&address, 1);
}

// By the unwinder and not by `backtrace`, which goes no further than the stack that it is called on.
unsigned int CaptureBacktrace(void** addresses, unsigned int most) {
  Frames frames = {addresses, most, 0};
  _Unwind_Backtrace(&NoteFrame, &frames);
  return frames.count;
}

}  // namespace platform
