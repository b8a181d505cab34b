#include <tillvane/platform/linux/system_version_linux.h>

#include <sys/utsname.h>

#include <cstring>

namespace platform {

namespace {

/// Of a number that is too large the low bits stay.
unsigned int ReadNumber(const char*& text) {
  unsigned int number = 0;
  for (; *text >= '0' && *text <= '9'; ++text) number = number * 10 + static_cast<unsigned int>(*text - '0');
  return number;
}

}  // namespace

SystemVersion ParseRelease(const char* release) {
  SystemVersion version{ReadNumber(release), 0};
  if (*release == '.') version.minor_number = ReadNumber(++release);
  return version;
}

// Nearly all of them say it: x86_64, aarch64, ppc64le, riscv64.
bool Is64BitMachine(const char* machine) {
  return std::strstr(machine, "64") != nullptr || std::strcmp(machine, "s390x") == 0;
}

// The kernel's, since distributions count each in their own way, and some not at all.
SystemVersion CurrentSystemVersion() {
  utsname names;
  return uname(&names) == 0 ? ParseRelease(names.release) : SystemVersion{0, 0};
}

bool IsSystem64Bit() {
  utsname names;
  return uname(&names) == 0 && Is64BitMachine(names.machine);
}

}  // namespace platform
