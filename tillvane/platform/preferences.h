#pragma once

/// \file
/// The application's own preferences of this user: values by key, kept from run to run.
///
/// Keys and texts are UTF-8; a key is not empty. A value that was set is seen at once by every reader of this process,
/// and on disk after SynchronizePreferences() or the end of the library. Values are copied. Where memory is missing
/// std::bad_alloc may leave. Any thread.

#include <optional>
#include <string>
#include <vector>

namespace platform {

/// \return false while what is on disk cannot be read, and so no value that was not set by this process is to be seen;
///   it is tried anew each time until it could be read once. True when there is nothing
bool ArePreferencesReadable();

/// \return is there a value under the key, of whichever kind
bool HasPreference(const char* key);

/// \return none when there is no value, or when it is of another kind
std::optional<std::string> PreferenceText(const char* key);
std::optional<std::vector<std::string>> PreferenceTexts(const char* key);
std::optional<std::vector<unsigned char>> PreferenceData(const char* key);

/// What was under the key, of whichever kind, is replaced.
void SetPreferenceText(const char* key, const std::string& text);
void SetPreferenceTexts(const char* key, const std::vector<std::string>& texts);
void SetPreferenceData(const char* key, const std::vector<unsigned char>& data);

/// A key without a value stays without one.
void RemovePreference(const char* key);

/// Writes what was changed and reads what other processes changed. Keys that were not changed here keep what others
/// wrote; of two writers of one key the last one wins. Waits some seconds at most for other writers; a signal's handler
/// runs on this thread when it is done.
/// \return false when it could not be written or read, or when it is not sure that it outlives a loss of power; the
///   changes are kept for the next time
bool SynchronizePreferences();

}  // namespace platform
