// Systems of other versions, and one that does not tell. The definition here takes the place of the C library's for
// everything that is linked into this program.

#include <sys/utsname.h>

#include <cstdio>
#include <string>

#include <gtest/gtest.h>

#include <tillvane/diag/LDebugThread.h>

namespace {

/// Null when the system does not tell.
const char* release = nullptr;

}  // namespace

extern "C" int uname(utsname* names) noexcept {
  if (release == nullptr) return -1;
  std::snprintf(names->release, sizeof names->release, "%s", release);
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

}  // namespace
