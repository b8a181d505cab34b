#pragma once

#include <cstdio>
#include <cstdlib>

namespace fuzz {

/// Ends the process, and so this input is kept, when something that always holds does not.
inline void Require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "not so: %s\n", what);
  std::abort();
}

}  // namespace fuzz
