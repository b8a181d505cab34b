#pragma once

/// \file
/// Which names leave the shared library.

/// Marks what leaves the shared library; everything else is hidden.
#define TILLVANE_API __attribute__((visibility("default")))
