#include <unistd.h>

#include <tillvane/platform/child_program.h>

namespace platform {

char* const* Environment() { return environ; }

}  // namespace platform
