#include <cstddef>
#include <cstring>

#include <tillvane/files/LFile.h>
#include <tillvane/files/path_text.h>
#include <tillvane/text/LStringFormat.h>

unsigned long LFile::_MakeFilePath(char* out, const char* folder, const char* name, const char* suffix) {
  std::size_t length = strnlen(folder, files::kPathLength - 1);
  if (out != folder) std::memcpy(out, folder, length);
  if (length > 0 && !files::IsSeparator(out[length - 1])) out[length++] = '/';
  return tplsnprintf(out + length, files::kPathSize - length, "%s%s", name, suffix);
}
