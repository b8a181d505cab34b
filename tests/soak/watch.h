#pragma once

#include <map>
#include <set>
#include <string>

#include "judgement.h"

namespace soak {

/// Looks at what this process has of the system. Main thread only.
class Watch {
 public:
  /// \param folder whose files are counted, with all that is in it
  explicit Watch(std::string folder);
  /// Removes the semaphore sets that this process has made: locks by name stay in the system otherwise.
  ~Watch();
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;

  Sample Look() const;

  /// The descriptors that were opened since the last call, and what they are.
  std::string NewDescriptors();

 private:
  std::set<int> OwnSemaphoreSets() const;

  const std::string folder_;
  const std::set<int> strangers_sets_;
  std::map<int, std::string> descriptors_;
};

}  // namespace soak
