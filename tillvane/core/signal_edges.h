#pragma once

/// \file
/// What ThreadSanitizer does not know of signals. What a thread did before it signalled an object has happened for
/// whoever sees the signal: the sanitizer follows write and read, but not poll. And who sees it may close the pipe
/// while the write is still returning: the system keeps the pipe for it.

#if defined(__SANITIZE_THREAD__)
extern "C" {
void __tsan_acquire(void* address);
void __tsan_release(void* address);
void AnnotateIgnoreReadsBegin(const char* file, int line);
void AnnotateIgnoreReadsEnd(const char* file, int line);
}
#endif

namespace core {

#if defined(__SANITIZE_THREAD__)

inline char signal_edges[4096];

/// Around the write that signals.
class SignalEdge {
 public:
  explicit SignalEdge(int read_end) {
    if (read_end >= 0) __tsan_release(&signal_edges[read_end % static_cast<int>(sizeof signal_edges)]);
    AnnotateIgnoreReadsBegin(__FILE__, __LINE__);
  }
  ~SignalEdge() { AnnotateIgnoreReadsEnd(__FILE__, __LINE__); }
};

/// After a wait that found this descriptor readable.
inline void NoteSignalSeen(int read_end) {
  if (read_end >= 0) __tsan_acquire(&signal_edges[read_end % static_cast<int>(sizeof signal_edges)]);
}

#else

class SignalEdge {
 public:
  explicit SignalEdge(int) {}
};
inline void NoteSignalSeen(int) {}

#endif

}  // namespace core
