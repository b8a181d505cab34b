#pragma once

#include <string>
#include <vector>

namespace bench {

/// Runs a program of the path, without output, and waits for its end. \return whether it succeeded
bool RunProgram(const std::vector<std::string>& command);

/// A folder for the files of a benchmark, in $TMPDIR or /tmp, removed with all that is in it at the end.
class Workshop {
 public:
  Workshop();
  ~Workshop();
  Workshop(const Workshop&) = delete;
  Workshop& operator=(const Workshop&) = delete;

  bool IsThere() const { return !path_.empty(); }
  std::string File(const std::string& name) const { return path_ + '/' + name; }

 private:
  std::string path_;
};

}  // namespace bench
