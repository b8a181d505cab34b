#pragma once

#include <tillvane/core/LProcessInterface.h>
#include <tillvane/export.h>
#include <tillvane/text/LStringLong.h>

/// \file
/// Commands and their output, programs and where they are, tools that need the administrator's rights. Any thread;
/// each function blocks until it says.

/// Runs a command as LPipeIn does and replaces `output` by what it writes, up to the end of its output. It takes a
/// tenth of a second at least, to give the command time.
///
/// Output is taken in pieces of at most 259 bytes; a NUL drops the rest of its piece. A command that cannot be started
/// gives an empty text. Without memory it throws std::bad_alloc.
/// \return 0, which says nothing
TILLVANE_API int LRunCommandAndGetOutputAsString(LStringLongTemplate<char>& output, const char* command);

/// Where a program is: a name that begins with '/' as it is, any other as the command `which` finds it; the name is
/// part of that command's line, so a shell reads it.
/// \param dest room for 260 bytes; what is longer is cut. Empty when there is no such program
/// \param name of the program, not null
TILLVANE_API void LUnixExecutableGetAbsolutePath(char* dest, const char* name);

/// Runs a tool with the administrator's rights, for which the system asks the user: the right is named
/// "system.privilege.admin". A process that has them already is not asked.
///
/// The files that it makes are nobody else's to write (mask 022), but where the package's helper is missing and this
/// process is root: then the mask is this process's.
///
/// The tool begins in the current folder with an environment of the system's choice, not this process's, an empty
/// standard input and this process's standard error. It is never a shell that reads its arguments. It may go on after
/// the answer; its exit code is not looked at.
///
/// Blocks while the user is asked, and with `echoOutput` until the tool has closed its standard output, which is copied
/// to this process's; without, who writes more is ended by SIGPIPE.
/// \param process not asked and not told anything
/// \param tool an absolute path, or a name for LUnixExecutableGetAbsolutePath(), cut to 259 bytes
/// \param arguments what it is given, a null at the end; null for nothing
/// \param echoOutput whether the tool's standard output is copied to this process's
/// \return 0 it was started, 1 the user cancelled, 2 it was refused or could not be started. A host that ignores its
///   children's ends (SIGCHLD) learns of no difference between 1 and 2
TILLVANE_API int LRunCommandWithPrivilege(LProcessInterface& process, const char* tool, char* const* arguments,
                                          bool echoOutput);
/// The same with arguments that may not be written to: the tool gets copies.
TILLVANE_API int LRunCommandWithPrivilege(LProcessInterface& process, const char* tool, const char* const* arguments,
                                          bool echoOutput);

/// The same for a line, split by LCommandLineArgumentStringExpander up to the first argument that is empty.
TILLVANE_API int LRunCommandWithPrivilege(LProcessInterface& process, const char* commandLine, bool echoOutput);

/// The same for a line, by nobody who can be told anything.
/// \return whether it was started
TILLVANE_API bool LRunCommandWithPrivilege(const char* commandLine, bool echoOutput);
