#include <cstddef>
#include <cstring>

#include <tillvane/files/LFile.h>
#include <tillvane/files/path_text.h>

using files::FittingLength;
using files::IsSeparator;
using files::kPathLength;
using files::StorePath;

namespace {

/// Where the last component begins: behind the last separator.
std::size_t FileBegin(const char* path, std::size_t length) {
  while (length > 0 && !IsSeparator(path[length - 1])) --length;
  return length;
}

/// Where the last dot of the last component is, else `length`.
std::size_t ExtensionBegin(const char* path, std::size_t length) {
  for (std::size_t at = length; at > 0 && !IsSeparator(path[at - 1]); --at) {
    if (path[at - 1] == '.') return at - 1;
  }
  return length;
}

}  // namespace

void LFile::_GetFolderFromPath(char* folder, const char* path) {
  const std::size_t file = FileBegin(path, FittingLength(path));
  const std::size_t root = path[0] == '/' ? 1 : 0;
  StorePath(folder, path, file > 1 ? file - 1 : root);
}

void LFile::_GetBaseFolderFromPath(char* folder, const char* path) {
  // A path may begin with a separator, or with two as the name of a host does.
  constexpr std::size_t least = 2;
  std::size_t length = 0;
  for (bool is_end = false; !is_end && length < kPathLength && path[length] != '\0'; ++length) {
    is_end = length >= least && IsSeparator(path[length]);
  }
  if (length >= least && IsSeparator(path[length - 1])) --length;
  StorePath(folder, path, length);
}

void LFile::_GetFileFromPath(char* file, const char* path) {
  const std::size_t length = std::strlen(path);
  const std::size_t begin = FileBegin(path, length);
  StorePath(file, path + begin, length - begin);
}

void LFile::_GetFileNameFromPath(char* name, const char* path) {
  _GetFileFromPath(name, path);
  const std::size_t dot = ExtensionBegin(name, std::strlen(name));
  if (dot > 0) name[dot] = '\0';
}

void LFile::_GetFileExtensionFromPath(char* extension, const char* path) {
  const std::size_t length = std::strlen(path);
  const std::size_t dot = ExtensionBegin(path, length);
  StorePath(extension, path + dot, length - dot);
}

void LFile::_ApplyNewFileExtension(char* out, const char* path, const char* extension) {
  std::size_t length = FittingLength(path);
  if (const std::size_t dot = ExtensionBegin(path, length); dot > 0) length = dot;
  std::memmove(out, path, length);
  StorePath(out + length, extension, strnlen(extension, kPathLength - length));
}
