#pragma once

namespace bundle {

/// The major and the minor number of a version's text, which has at most 259 bytes. \see LCFBundle::GetVersionNumber
/// \return false, and the numbers as they were, when it is empty
bool ParseVersion(const char* text, int& major, int& minor);

}  // namespace bundle
