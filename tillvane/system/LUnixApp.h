#pragma once

#include <tillvane/export.h>

/// \file
/// The start of a command-line program.

/// What a program's `main` calls first, once, before it starts threads: the calling thread is registered as "MAIN", the
/// mask of new files' modes becomes 0, so that they get exactly the modes that are asked for, the command line is
/// copied (LUnixAppCopyCommandLineArguments), the locale is set (LGetLocale, for all categories), and so is the number
/// of open files (LSetMaximumNumberOfOpenFiles).
/// \param argc as `main` was given it
/// \param argv as `main` was given them: the texts outlive the copy
/// \return 1
TILLVANE_API int LUnixAppInitCommon(int argc, char** argv);

/// Lets the process have 1024 files open at a time, whether that is more or less than before; what an administrator
/// allows is left alone. Any thread, for the whole process.
/// \return 0; -1 with errno when the system refuses, as it does where the administrator allows fewer
TILLVANE_API int LSetMaximumNumberOfOpenFiles();
