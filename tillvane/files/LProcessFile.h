#pragma once

#include <tillvane/core/LProcessInterface.h>
#include <tillvane/export.h>
#include <tillvane/files/LReadFile.h>
#include <tillvane/files/LWriteFile.h>

/// \file
/// A large block between memory and a file, in chunks of 10240 bytes. Before each chunk the process interface is asked
/// whether to stop; after each it is told the progress, from 0 to 1. A chunk is one call of the system: where that
/// moves less, also when a signal interrupts it, the transfer has failed. The file is left as far as it got. Without a
/// descriptor (-1) the system is not asked. Runs on the caller's thread.

/// Fills `size` bytes at `buffer`, which is written to although it is declared const.
/// \return 0 done, 1 stopped, 2 a chunk was not read whole. A size of 0 is done at once.
TILLVANE_API int LProcessFileRead(LProcessInterface& process, LReadFileRef& file, const void* buffer,
                                  unsigned int size);

/// Writes `size` bytes.
/// \return 0 done, 1 stopped, 2 a chunk was not written whole. A size of 0 is done at once.
TILLVANE_API int LProcessFileWrite(LProcessInterface& process, LWriteFileRef& file, const void* buffer,
                                   unsigned int size);
