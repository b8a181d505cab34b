#pragma once

#include <tillvane/tillvane.h>

#include "options.h"

namespace line_server {

/// Sends the lines to a server, one after the other, and prints what it answers; a mistake goes to standard error.
/// \return kDone, kStopped or kFailed
unsigned int TalkToServer(LProcessInterface& process, const Options& options);

}  // namespace line_server
