#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include <tillvane/platform/linux/preferences_format_linux.h>

namespace platform {

/// A file of preferences that several processes change.
///
/// It is always replaced whole by a new one, so that whoever reads it, after a kill or a loss of power too, finds the
/// old state or the new one. Writers take turns by a lock on a file beside it. A symbolic link in its place is kept and
/// what it leads to is replaced, since the user's settings may be kept elsewhere; one that leads nowhere is refused, as
/// is what is not a regular file, what belongs to somebody else and what is too large. Any thread.
class PreferencesFile {
 public:
  static constexpr std::size_t kMost = std::size_t{64} * 1024 * 1024;

  /// \param folder made, when there is something to write, with the folder that holds it, but no folder above: a home
  ///   that is gone is not made again
  /// \param most bytes of the file, to be read and to be written
  explicit PreferencesFile(std::string folder, std::size_t most = kMost);

  /// A file that is not there has no values. What cannot be read of a damaged one is left out. Never waits.
  /// \return false when it is refused or the system fails; `values` is as it was
  bool Read(PreferenceValues* values) const;

  /// Changes what is on the disk at this moment. What could not be read of it is kept in a copy with the ending
  /// ".broken", the next ones ".broken-2" and so on.
  /// \param wait_ms at most so long for other writers
  /// \param values receives what was written
  /// \return false when the file is as it was, or when it is not sure that the new one outlives a loss of power
  bool Change(const std::function<void(PreferenceValues&)>& change, int wait_ms, PreferenceValues* values) const;

 private:
  bool MakeFolder() const;
  bool FindPlace(std::string* place) const;
  bool ReadText(const std::string& place, std::string* text) const;
  bool KeepBroken(const std::string& place, const std::string& text) const;

  const std::string folder_;
  const std::string path_;
  const std::size_t most_;
};

}  // namespace platform
