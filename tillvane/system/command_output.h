#pragma once

#include <tillvane/system/LPipe.h>
#include <tillvane/text/LStringLong.h>

namespace commands {

/// Appends all that comes out of a pipe, up to its end, in pieces of at most 259 bytes; a NUL drops the rest of its
/// piece. Without memory it throws std::bad_alloc.
void AppendOutput(LStringLong& output, LPipeIn& pipe);

}  // namespace commands
