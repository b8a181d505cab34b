#include <tillvane/files/LFile.h>
#include <tillvane/platform/file_object.h>

int LFile::SetFileAttributeTextEncodingUTF8(const char* path) {
  constexpr char value[] = "utf-8;134217984";
  return platform::SetExtendedAttribute(path, "com.apple.TextEncoding", value, sizeof value - 1);
}
