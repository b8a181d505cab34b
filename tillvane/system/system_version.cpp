#include <tillvane/platform/system_version.h>
#include <tillvane/system/LSystemVersion.h>

bool LIsOS64Bit() {
  static const bool is_64_bit = platform::IsSystem64Bit();
  return is_64_bit;
}
