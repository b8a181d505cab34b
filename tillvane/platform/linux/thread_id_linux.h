#pragma once

#include <tillvane/platform/thread_id.h>

namespace platform::thread_id {

enum class Kind : unsigned char { kUnknown, kMain, kOther };

// In the thread's own block, so that no function is called to find it.
extern constinit thread_local Kind kind __attribute__((tls_model("initial-exec")));

/// IsMainThread for where every instruction counts.
inline bool IsMain() { return kind == Kind::kMain || (kind == Kind::kUnknown && IsMainThread()); }

}  // namespace platform::thread_id
