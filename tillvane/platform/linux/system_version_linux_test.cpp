#include <tillvane/platform/linux/system_version_linux.h>

#include <gtest/gtest.h>
#include <sys/utsname.h>

#include <string>

namespace {

TEST(SystemVersion, IsReadFromTheKernelsRelease) {
  struct Case {
    const char* release;
    unsigned int major_number, minor_number;
  };
  for (const Case& c :
       {Case{"6.1.0-18-amd64", 6, 1}, Case{"5.15.0-generic", 5, 15}, Case{"6.10", 6, 10}, Case{"6", 6, 0},
        Case{"6.", 6, 0}, Case{"6-rc1", 6, 0}, Case{"4.4+", 4, 4}, Case{"", 0, 0}, Case{"rolling", 0, 0},
        Case{".5", 0, 5}, Case{"-6.1", 0, 0}, Case{"4294967297.4294967298", 1, 2}}) {
    const platform::SystemVersion version = platform::ParseRelease(c.release);
    EXPECT_EQ(version.major_number, c.major_number) << c.release;
    EXPECT_EQ(version.minor_number, c.minor_number) << c.release;
  }
}

TEST(SystemVersion, IsTheRunningKernels) {
  utsname names;
  ASSERT_EQ(uname(&names), 0);
  const platform::SystemVersion version = platform::CurrentSystemVersion();
  const std::string begin = std::to_string(version.major_number) + '.' + std::to_string(version.minor_number);
  EXPECT_EQ(std::string(names.release).substr(0, begin.size()), begin);
}

}  // namespace
