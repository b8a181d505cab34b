#pragma once

#include "comparison.h"

namespace bench {

/// How long after a stop request the functions for sockets return, and a listener ends: a table of percentiles.
void RunNetStops(const Options& options, Results* results);

}  // namespace bench
