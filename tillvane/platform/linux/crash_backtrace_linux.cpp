#include <tillvane/platform/crash_backtrace.h>

#include <elf.h>
#include <execinfo.h>
#include <link.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

namespace platform {

namespace {

constexpr const char kOwnProgram[] = "/proc/self/exe";

std::size_t Aligned(std::size_t size) { return (size + 3) & ~std::size_t{3}; }

/// Looks through one segment of notes, which lies in memory as it does in the file.
void ReadBuildId(const char* notes, std::size_t size, LoadedModule& module) {
  ElfW(Nhdr) header;
  while (size >= sizeof header) {
    std::memcpy(&header, notes, sizeof header);
    const std::size_t name = sizeof header;
    const std::size_t content = name + Aligned(header.n_namesz);
    if (content > size || header.n_descsz > size - content) return;
    if (header.n_type == NT_GNU_BUILD_ID && header.n_namesz == 4 && std::memcmp(notes + name, "GNU", 4) == 0) {
      module.build_id_size = static_cast<unsigned int>(std::min<std::size_t>(header.n_descsz, sizeof module.build_id));
      std::memcpy(module.build_id, notes + content, module.build_id_size);
      return;
    }
    const std::size_t next = std::min(size, content + Aligned(header.n_descsz));
    notes += next;
    size -= next;
  }
}

void CopyPath(const char* name, LoadedModule& module) {
  // The program itself has no name here.
  if (*name == '\0') {
    const ssize_t length = readlink(kOwnProgram, module.path, sizeof module.path - 1);
    module.path[std::max<ssize_t>(length, 0)] = '\0';
  } else {
    std::memcpy(module.path, name, strnlen(name, sizeof module.path - 1));
  }
}

/// A place in the module's memory, counted from one that is known.
const char* PlaceOf(std::uintptr_t address, const dl_phdr_info& info) {
  const char* const known = reinterpret_cast<const char*>(info.dlpi_phdr);
  return known + (address - reinterpret_cast<std::uintptr_t>(known));
}

/// Is there memory behind the whole of a segment? A file may say what it likes.
bool IsLoaded(const dl_phdr_info& info, const ElfW(Phdr) & segment) {
  for (unsigned int i = 0; i < info.dlpi_phnum; ++i) {
    const ElfW(Phdr)& loaded = info.dlpi_phdr[i];
    if (loaded.p_type != PT_LOAD || segment.p_vaddr < loaded.p_vaddr) continue;
    const auto offset = segment.p_vaddr - loaded.p_vaddr;
    if (offset <= loaded.p_filesz && segment.p_memsz <= loaded.p_filesz - offset) return true;
  }
  return false;
}

LoadedModule Describe(const dl_phdr_info& info) {
  LoadedModule module = {};
  module.base = info.dlpi_addr;
  module.begin = UINTPTR_MAX;
  for (unsigned int i = 0; i < info.dlpi_phnum; ++i) {
    const ElfW(Phdr)& segment = info.dlpi_phdr[i];
    const std::uintptr_t begin = info.dlpi_addr + segment.p_vaddr;
    if (segment.p_type == PT_LOAD) {
      module.begin = std::min(module.begin, begin);
      module.end = std::max(module.end, begin + segment.p_memsz);
    } else if (segment.p_type == PT_NOTE && module.build_id_size == 0 && IsLoaded(info, segment)) {
      ReadBuildId(PlaceOf(begin, info), segment.p_memsz, module);
    }
  }
  CopyPath(info.dlpi_name, module);
  return module;
}

int NoteModule(dl_phdr_info* info, std::size_t, void* data) {
  (*static_cast<void (**)(const LoadedModule&)>(data))(Describe(*info));
  return 0;
}

}  // namespace

void ListLoadedModules(void (*note)(const LoadedModule& module)) { dl_iterate_phdr(&NoteModule, &note); }

// The first call loads the unwinder's library, which allocates; later ones do not.
void PrepareBacktrace() {
  void* address;
  backtrace(&address, 1);
}

unsigned int CaptureBacktrace(void** addresses, unsigned int most) {
  const int count = backtrace(addresses, static_cast<int>(most));
  return count > 0 ? static_cast<unsigned int>(count) : 0;
}

}  // namespace platform
