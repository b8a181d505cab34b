#pragma once

#include <unistd.h>

#include <cstdlib>
#include <optional>
#include <string>
#include <utility>

namespace support {

/// A variable of this process's environment that has another value, or none, for as long as this lives.
class EnvironmentVariable {
 public:
  /// \param value null for none
  EnvironmentVariable(const std::string& name, const char* value) : name_(name) {
    const char* const before = std::getenv(name.c_str());
    if (before != nullptr) before_ = before;
    Set(value);
  }
  ~EnvironmentVariable() { Set(before_ ? before_->c_str() : nullptr); }
  EnvironmentVariable(const EnvironmentVariable&) = delete;
  EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;

 private:
  void Set(const char* value) const {
    if (value != nullptr) {
      setenv(name_.c_str(), value, 1);
    } else {
      unsetenv(name_.c_str());
    }
  }

  const std::string name_;
  std::optional<std::string> before_;
};

/// Nothing of this process's environment, for as long as this lives. Variables that are set meanwhile go with it.
class OwnEnvironment {
 public:
  OwnEnvironment() : inherited_(std::exchange(environ, nullptr)) {}
  ~OwnEnvironment() {
    clearenv();
    environ = inherited_;
  }
  OwnEnvironment(const OwnEnvironment&) = delete;
  OwnEnvironment& operator=(const OwnEnvironment&) = delete;

 private:
  char** const inherited_;
};

}  // namespace support
