#pragma once

#include <dlfcn.h>

namespace support {

/// The C library's own function, for a test program's that takes its place: `Next(&read, "read")(file, bytes, size)`.
template <class Function>
Function* Next(Function*, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace support
