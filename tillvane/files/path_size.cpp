#include <tillvane/files/LFile.h>
#include <tillvane/text/LStringFormat.h>

unsigned long LFile::GetSizeFormattedBytes(unsigned long long size, char* out) {
  constexpr unsigned long out_size = 32;
  constexpr const char* units[] = {"Bytes", "KB", "MB", "GB"};
  for (const char* unit : units) {
    if (size < 1024) return tplsnprintf(out, out_size, "%d %s", static_cast<int>(size), unit);
    size /= 1024;
  }
  return tplsnprintf(out, out_size, "%d TB", static_cast<int>(size));
}
