#include <tillvane/diag/loaded_modules.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <mutex>

namespace diag {

namespace {

using platform::LoadedModule;

constexpr unsigned int kMostModules = 512;

// A signal handler reads those below the count; none is changed afterwards. Pages that nobody needs cost nothing.
constinit LoadedModule modules[kMostModules] = {};
constinit std::atomic<unsigned int> count{0};
constinit std::mutex notes;

bool IsSame(const LoadedModule& a, const LoadedModule& b) {
  return a.base == b.base && a.begin == b.begin && a.end == b.end && a.build_id_size == b.build_id_size &&
         std::memcmp(a.build_id, b.build_id, a.build_id_size) == 0 && std::strcmp(a.path, b.path) == 0;
}

/// Is it the one that this place would be found to have?
bool IsNoted(const LoadedModule& module) {
  const LoadedModule* const found = FindLoadedModule(module.begin);
  return found != nullptr && IsSame(*found, module);
}

void Note(const LoadedModule& module) {
  const unsigned int index = count.load(std::memory_order_relaxed);
  if (index == kMostModules || IsNoted(module)) return;
  modules[index] = module;
  count.store(index + 1, std::memory_order_release);
}

}  // namespace

void NoteLoadedModules() {
  const std::scoped_lock lock(notes);
  platform::ListLoadedModules(&Note);
}

const platform::LoadedModule* FindLoadedModule(std::uintptr_t address) {
  // The newest first.
  for (unsigned int i = count.load(std::memory_order_acquire); i > 0; --i) {
    const LoadedModule& module = modules[i - 1];
    if (address >= module.begin && address < module.end) return &module;
  }
  return nullptr;
}

}  // namespace diag
