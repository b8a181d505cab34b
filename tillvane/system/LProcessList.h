#pragma once

#include <tillvane/export.h>
#include <tillvane/platform/native_types.h>

/// \file
/// Which processes run. A process's name is the short one that the kernel keeps: the beginning of its executable's
/// name, at most 15 bytes of it, or what the process has made of that; nothing says that it is UTF-8 or without line
/// feeds. Names that are given are not null. Any thread; nothing here may be called from a signal handler.

/// The last process that LGetProcessUid() has found; -1 for none.
extern TILLVANE_API int gGuiUid;

/// Lists all processes that this one may see, with their names (`kp_proc.p_comm`, terminated) and numbers
/// (`kp_proc.p_pid`). A process that ends meanwhile may be missing.
/// \param list receives the records, which the caller frees with `free`; null when it cannot be read. Look at it
///   before the count: without memory it is null too, and the count is what there would have been room for.
/// \return how many there are; 0 when the system does not tell
TILLVANE_API unsigned int LGetBSDProcessList(kinfo_proc** list);

/// Looks for a process by its name.
/// \return the number (pid) of the first process of this name, letters of either case, as the locale has them; -1 for
///   none
TILLVANE_API int LGetBSDProcessUid(const char* name);

/// The same as LGetBSDProcessUid(), but once a process has been found it is the answer to every further call, whatever
/// name that asks for.
///
/// It is remembered under the lock between processes named "UID", for which this waits up to five seconds. A lock that
/// cannot be had for so long is removed from the system, and the process is not remembered.
TILLVANE_API int LGetProcessUid(const char* name);

/// Does such a process run?
/// \return whether there is a process of exactly this name; so never for a name of more than 15 bytes
TILLVANE_API bool LIsApplicationRunning(const char* name);

/// Looks for a running application by the two codes that its bundle has in `Contents/PkgInfo`, such as 'APPL' and
/// 'ttxt', four characters each, the first one in the highest byte.
///
/// Applications whose bundle cannot be read, such as other users' on a system that hides them, are skipped.
/// \param signature the second code, the application's own
/// \param type the first code, 'APPL' of an application
/// \param psn not null; receives the first one's serial number, its pid in the low half; both halves 0 for none
TILLVANE_API bool LGetPSNFromSignature(unsigned long signature, unsigned long type, ProcessSerialNumber* psn);
