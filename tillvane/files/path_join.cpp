#include <algorithm>
#include <cstddef>
#include <cstring>

#include <tillvane/files/LFile.h>
#include <tillvane/files/path_text.h>
#include <tillvane/text/LStringFormat.h>

using files::IsSeparator;
using files::kPathLength;
using files::kPathSize;

namespace {

/// \param length of the folder, which need not be all of what stands there
unsigned long Join(char* out, const char* folder, std::size_t length, const char* name, const char* suffix) {
  length = std::min(length, kPathLength - 1);
  if (out != folder) std::memcpy(out, folder, length);
  if (length > 0 && !IsSeparator(out[length - 1])) out[length++] = '/';
  return tplsnprintf(out + length, kPathSize - length, "%s%s", name, suffix);
}

bool IsAbsolute(const char* path) {
  if (IsSeparator(path[0])) return true;
  // A drive or a volume.
  return path[std::strcspn(path, ":/\\")] == ':';
}

/// The folder's length without its last component. The two last characters are taken for a character of a name and the
/// separator behind it: they are not looked at.
std::size_t ParentLength(const char* folder, std::size_t length) {
  for (std::size_t at = length - 2; at > 0; --at) {
    if (IsSeparator(folder[at - 1])) return at - 1;
  }
  return length;
}

}  // namespace

unsigned long LFile::_MakeFilePath(char* out, const char* folder, const char* name, const char* suffix) {
  return Join(out, folder, strnlen(folder, kPathLength), name, suffix);
}

unsigned long LFile::MakeAbsoluteFilePath(char* out, const char* base, const char* relative, const char* suffix) {
  if (IsAbsolute(relative)) return Join(out, "", 0, relative, suffix);
  std::size_t length = strnlen(base, kPathLength);
  while (relative[0] == '.') {
    if (IsSeparator(relative[1])) {
      relative += 2;
    } else if (relative[1] == '.' && IsSeparator(relative[2]) && length >= 2) {
      length = ParentLength(base, length);
      relative += 3;
    } else {
      break;
    }
  }
  return Join(out, base, length, relative, suffix);
}
