#pragma once

#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

/// \file
/// Real faults, for programs that are meant to end by them.

namespace support {

/// A test's crash leaves no core file.
inline void LeaveNoCore() {
  const rlimit none{0, 0};
  setrlimit(RLIMIT_CORE, &none);
}

inline void Say(const char* text) {
  std::puts(text);
  std::fflush(stdout);
}

/// What the optimiser knows nothing of.
template <class T>
T Unknown(T value) {
  asm volatile("" : "+r"(value));
  return value;
}

/// Writes where nothing is. Its name is for whoever looks for the fault's place.
extern "C" [[gnu::noinline, gnu::used]] inline void WriteToNowhere() {
  *Unknown(reinterpret_cast<volatile int*>(16)) = 1;
}

/// Reads a mapped file behind its end.
inline void ReadBehindAFile() {
  std::FILE* const file = std::tmpfile();
  const void* const page = mmap(nullptr, 4096, PROT_READ, MAP_SHARED, fileno(file), 0);
  static_cast<void>(Unknown(*static_cast<const volatile char*>(page)));
}

/// Divides by zero; where that is no fault, says that it happened.
[[gnu::noinline]] __attribute__((no_sanitize("undefined"))) inline void DivideByZero() {
#if defined(__x86_64__)
  static_cast<void>(Unknown(Unknown(1) / Unknown(0)));
#else
  raise(SIGFPE);
#endif
}

inline void RunNoInstruction() {
#if defined(__x86_64__)
  asm volatile("ud2");
#elif defined(__aarch64__)
  asm volatile(".inst 0");
#else
  for (;;) raise(SIGILL);
#endif
}

/// Calls itself until the stack is full.
[[gnu::noinline]] inline int Overflow(int depth) {
  volatile char room[1024];
  room[0] = 1;
  if (Unknown(depth) < 0) return 0;
  return Overflow(depth + 1) + room[0];
}

struct Fault {
  const char* name;
  void (*happen)();
};

inline constexpr Fault kFaults[] = {
    {"segv", &WriteToNowhere},  {"bus", &ReadBehindAFile},        {"fpe", &DivideByZero},
    {"ill", &RunNoInstruction}, {"quit", [] { raise(SIGQUIT); }}, {"overflow", [] { Overflow(Unknown(0)); }},
};

/// \return false when there is none of this name
inline bool Happen(const char* name) {
  for (const Fault& fault : kFaults) {
    if (std::strcmp(fault.name, name) == 0) {
      fault.happen();
      return true;
    }
  }
  return false;
}

}  // namespace support
