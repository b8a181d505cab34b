#include <crt_externs.h>

#include <tillvane/platform/child_program.h>

namespace platform {

// A library does not see the program's own variable.
char* const* Environment() { return *_NSGetEnviron(); }

}  // namespace platform
