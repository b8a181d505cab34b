#pragma once

#include <tillvane/export.h>

/// \file
/// Folders and applications of the user, by number and by name; LFile has a function for each folder. Any thread.

/// Writes the path of one of the user's folders, at most 259 characters of it. Where the system tells of none, it is
/// the fallback in the home, and is made, of mode 0777 less the process's mask, when only its last folder is missing.
/// On Linux the desktop tells of them in `user-dirs.dirs`.
/// \param dest room for 260 bytes
/// \param kind the number that macOS gives a kind: 1 applications, 9 documents, 12 desktop, 14 application data, 15
///   downloads, 17 movies, 18 music, 19 pictures; of others nothing is known on Linux
/// \param fallback relative, for example "Downloads"
TILLVANE_API void GetUserSpecialFolder(char* dest, unsigned int kind, const char* fallback);

/// Does LFile::GetInstalledApplicationExePath find an application of this name?
TILLVANE_API bool LIsApplicationInstalled(const char* name);
