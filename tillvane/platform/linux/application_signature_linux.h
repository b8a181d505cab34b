#pragma once

namespace platform {

/// The codes of an application, as its bundle's PkgInfo has them.
struct ApplicationCodes {
  unsigned int type, signature;
};

/// Reads the two codes that a file begins with.
/// \param codes untouched on failure
/// \return false when there is no such file, or no file of so many bytes; it waits for nobody
bool ReadApplicationCodes(const char* path, ApplicationCodes& codes);

}  // namespace platform
