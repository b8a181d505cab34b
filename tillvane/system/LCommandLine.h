#pragma once

#include <tillvane/export.h>

/// \file
/// The host's command line, for those parts of it that `main` does not hand it to. Written at start-up, before other
/// threads read it; not synchronised.

/// How many arguments there are, the program's own name included; 0 before there is a copy.
extern TILLVANE_API int gargc;
/// The arguments, and a null behind the last one; null before there is a copy. The array is the library's, the texts
/// are those that `main` was given.
extern TILLVANE_API char** gargv;

/// Copies the arguments to gargc and gargv, but for the process's serial number, which a launcher adds: the argument
/// behind the program's name is left out when it begins with "-psn". Called again, it replaces the copy and frees the
/// array of the last one, which may itself be what is copied.
/// \param argc how many there are; 0 and below: an empty copy
/// \param argv as many texts, which outlive the copy
TILLVANE_API void LUnixAppCopyCommandLineArguments(int argc, char** argv);

/// Takes an argument out of the copy: those behind it move down, and a null stands where the last one was.
/// \param index from 0, below gargc; any other removes nothing
TILLVANE_API void LRemoveCommandLineArgument(int index);
