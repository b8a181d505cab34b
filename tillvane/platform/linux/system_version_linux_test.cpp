#include <tillvane/platform/linux/system_version_linux.h>
#include <tillvane/system/LSystemVersion.h>

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

TEST(SystemVersion, MachinesOf64Bits) {
  for (const char* machine : {"x86_64", "aarch64", "ppc64le", "ppc64", "riscv64", "mips64", "sparc64", "s390x"}) {
    EXPECT_TRUE(platform::Is64BitMachine(machine)) << machine;
  }
  for (const char* machine : {"i686", "i386", "armv7l", "armv8l", "ppc", "mips", "s390", "riscv32", ""}) {
    EXPECT_FALSE(platform::Is64BitMachine(machine)) << machine;
  }
}

TEST(SystemVersion, A64BitProcessRunsOnA64BitSystem) {
  // Unless somebody pretends (setarch i686).
  utsname names;
  ASSERT_EQ(uname(&names), 0);
  EXPECT_EQ(LIsOS64Bit(), platform::Is64BitMachine(names.machine));
}

}  // namespace
