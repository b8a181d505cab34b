// Systems of other versions, and one that does not tell. The definition here takes the place of the C library's for
// everything that is linked into this program.

#include <sys/utsname.h>

#include <cstdio>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/faults.h>
#include <tillvane/diag/LDebugThread.h>
#include <tillvane/platform/system_version.h>
#include <tillvane/system/LSystemVersion.h>

namespace {

/// Null when the system does not tell.
const char* release = nullptr;
const char* machine = "";

}  // namespace

extern "C" int uname(utsname* names) noexcept {
  if (release == nullptr) return support::FailNoted(EFAULT);
  std::snprintf(names->release, sizeof names->release, "%s", release);
  std::snprintf(names->machine, sizeof names->machine, "%s", machine);
  return 0;
}

namespace {

TEST(SystemVersionFaults, TheDescriptionHasTheMajorNumberAndTwoDigitsOfTheMinor) {
  struct Case {
    const char* release;
    const char* system;
  };
  for (const Case& c :
       {Case{"10.7.5", "MacIntel1007"}, Case{"6.18.44", "MacIntel618"}, Case{"6.1.0-18", "MacIntel601"},
        Case{"6", "MacIntel600"}, Case{nullptr, "MacIntel000"},
        // A byte each.
        Case{"266.263", "MacIntel1007"}, Case{"255.255", "MacIntel255255"}, Case{"256.256", "MacIntel000"}}) {
    release = c.release;
    char line[260];
    LDebugGenerateXIString(line, "first", "third");
    EXPECT_EQ(line, std::string("first-") + c.system + "-third-UnknownGloIni1");
  }
}

TEST(SystemVersionFaults, WhatDoesNotTellIsNo64BitSystem) {
  machine = "x86_64";
  release = nullptr;
  EXPECT_FALSE(platform::IsSystem64Bit());
  release = "6.1";
  EXPECT_TRUE(platform::IsSystem64Bit());
  machine = "i686";
  EXPECT_FALSE(platform::IsSystem64Bit());
}

TEST(SystemVersionFaults, TheBitsAreFoundOutOnce) {
  release = "6.1";
  machine = "x86_64";
  EXPECT_TRUE(LIsOS64Bit());
  machine = "i686";
  EXPECT_TRUE(LIsOS64Bit());
}

}  // namespace
