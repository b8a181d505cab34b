#pragma once

/// \file
/// The processes that run. A process's name is bytes, in no particular encoding. Any thread.

#include <tillvane/platform/native_types.h>

namespace platform {

/// What became of reading the table.
enum class ProcessTable { kRead, kTooLarge, kFailed };

/// How many records the table takes at the moment, about, and rather too many than too few; 0 when the system does not
/// tell. Memory that is too small shows when the table is read.
unsigned long ProcessTableSize();

/// Writes a record for each process, its name cut and terminated. A process has none that ends meanwhile, or whose name
/// this one may not see.
/// \param records room for so many
/// \param count receives how many were written; of a table that is too large, how many there are
ProcessTable ReadProcessTable(kinfo_proc* records, unsigned long room, unsigned long& count);

/// Looks for the first running application with this creator signature and type, four characters each, the first one
/// in the highest byte. An application that this process may not look into is skipped.
/// \param number receives its serial number; untouched when there is none
bool FindApplication(unsigned int signature, unsigned int type, ProcessSerialNumber& number);

}  // namespace platform
