#pragma once

#include <string>

namespace soak {

/// A folder of this run's own, with a home, a folder for temporary files and a catalogue, and an environment that names
/// nothing else. It is gone with all that is in it when this is.
class PrivateWorld {
 public:
  /// Ends the process when the folder cannot be made. A process starts itself anew the first time: GLib
  /// reads its settings before `main`.
  explicit PrivateWorld(char** arguments);
  ~PrivateWorld();
  PrivateWorld(const PrivateWorld&) = delete;
  PrivateWorld& operator=(const PrivateWorld&) = delete;

  /// Ends the process with status 1, and all its threads at once, whatever they do. What a command that one of them has
  /// just started still makes goes too.
  [[noreturn]] void EndProcess() const;

  const std::string& Path() const { return path_; }
  std::string Path(const std::string& name) const { return path_ + '/' + name; }

 private:
  std::string path_;
};

}  // namespace soak
