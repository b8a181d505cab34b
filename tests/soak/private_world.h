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
  ~PrivateWorld() { Remove(); }
  PrivateWorld(const PrivateWorld&) = delete;
  PrivateWorld& operator=(const PrivateWorld&) = delete;

  /// For a process that ends without its destructors.
  void Remove() const;

  const std::string& Path() const { return path_; }
  std::string Path(const std::string& name) const { return path_ + '/' + name; }

 private:
  std::string path_;
};

}  // namespace soak
