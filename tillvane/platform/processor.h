#pragma once

/// \file
/// What this processor can do that not every one of its kind can. Any thread, and before the library's own constructors
/// have run. False on a processor of another kind.

namespace platform {

bool HasAvx2();

/// AVX-512 for bytes and 16-bit units.
bool HasAvx512Bytes();

}  // namespace platform
