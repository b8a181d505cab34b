#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <string>

#include <gtest/gtest.h>

namespace support {

/// This process's current folder is another one for as long as this lives.
class CurrentFolder {
 public:
  explicit CurrentFolder(const std::string& path) : before_(open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    EXPECT_EQ(chdir(path.c_str()), 0) << path;
  }
  ~CurrentFolder() {
    EXPECT_EQ(fchdir(before_), 0);
    close(before_);
  }
  CurrentFolder(const CurrentFolder&) = delete;
  CurrentFolder& operator=(const CurrentFolder&) = delete;

 private:
  const int before_;
};

}  // namespace support
