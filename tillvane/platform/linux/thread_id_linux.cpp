#include <tillvane/platform/linux/thread_id_linux.h>

#include <unistd.h>

namespace platform {

namespace thread_id {
constinit thread_local Kind kind = Kind::kUnknown;
}

bool IsMainThread() {
  using thread_id::Kind;
  using thread_id::kind;
  // The kernel is asked once in each thread.
  if (kind == Kind::kUnknown) kind = gettid() == getpid() ? Kind::kMain : Kind::kOther;
  return kind == Kind::kMain;
}

}  // namespace platform
