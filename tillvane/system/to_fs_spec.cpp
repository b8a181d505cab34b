#include <tillvane/platform/file_spec.h>
#include <tillvane/system/LToFSSpec.h>
#include <tillvane/text/LCharsets.h>

bool LToFSSpec::CStringToFSSpec(const char* path, FSSpec* spec) {
  return path != nullptr && spec != nullptr && platform::MakeFileSpec(path, spec);
}

void LToFSSpec::GetString(char* dest, unsigned long capacity) const {
  if (capacity == 0) return;
  dest[0] = '\0';
  if (is_valid_) utf8strlcpy(dest, platform::FileSpecPath(spec_).c_str(), capacity);
}
