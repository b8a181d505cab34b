#include <tillvane/diag/crash_stack.h>
#include <tillvane/diag/signal_handlers.h>
#include <tillvane/diag/status_slot.h>
#include <tillvane/diag/thread_registry.h>

namespace {

/// What the library does when it is loaded, on the thread that loads it, from the first member to the last; when it is
/// unloaded it undoes it from the last to the first.
class LibraryLoad {
 private:
  struct EmptyStatusSlot {
    EmptyStatusSlot() { diag::status_slot.Empty(); }
  };

  // Before the registry stands what has to be undone after it.
  EmptyStatusSlot status_slot_;
  diag::ThreadRegistry registry_;
  diag::CrashStacks crash_stacks_;
  diag::SignalHandlers handlers_;
};

const LibraryLoad library_load;

}  // namespace
