#pragma once

#include <map>
#include <set>
#include <string>

#include "judgement.h"

namespace soak {

/// Looks at what this process has of the system. Main thread only. What it does not see: shared memory by name that is
/// not mapped, of which nothing tells whose it is.
class Watch {
 public:
  /// \param folder whose files are counted, with all that is in it
  explicit Watch(std::string folder);
  /// Removes the semaphore sets that this process has made: locks by name stay in the system otherwise.
  ~Watch() { RemoveSemaphoreSets(); }
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;

  Sample Look() const;

  /// What more descriptors were opened of since the last call: " /dev/null (2)". Names that differ in numbers only are
  /// the same: a file is followed by the next of its kind.
  std::string NewDescriptors();

  /// For a process that ends without its destructors.
  void RemoveSemaphoreSets() const;

 private:
  std::set<int> OwnSemaphoreSets() const;
  int CountSemaphoreSets() const;

  const std::string folder_;
  const std::set<int> strangers_sets_;
  std::map<std::string, int> descriptors_;
};

}  // namespace soak
