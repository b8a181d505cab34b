#pragma once

#include <sys/types.h>

#include <string>

namespace platform {

/// What tells a file from another one that stands under its name later.
struct FileNumbers {
  dev_t device = 0;
  ino_t inode = 0;
  bool operator==(const FileNumbers&) const = default;
};

/// A link is not followed. \return false with errno
bool IdentifyFile(const std::string& path, FileNumbers* numbers);

/// Makes a folder and the missing ones above it, for the user alone; one that stands is left as it is. Their names
/// last. \param ledger the file that is made in the folder after this \return false with one line in `error` that names
/// the folder
bool MakeLedgerFolder(const std::string& path, const std::string& ledger, std::string* error);

/// Makes an empty ledger file for the user alone; one that stands is left as it is, and not opened.
bool MakeLedgerFile(const std::string& path, std::string* error);

/// Renames a ledger file, with its log and index, to a name that nothing stands under yet.
/// \param aside receives the new name
/// \param error what did not work, without the ledger's own name
bool SetLedgerAside(const std::string& path, std::string* aside, std::string* error);

/// "cannot be made (No such file or directory)"
std::string WithSystemReason(const std::string& what, int code);

}  // namespace platform
