#include <sys/stat.h>

#include <cstring>

#include <tillvane/files/LFile.h>
#include <tillvane/files/path_text.h>

int LFile::CreateFolderTree(const char* folder) {
  char parent[files::kPathSize];
  _GetFolderFromPath(parent, folder);
  // The root is its own parent.
  const bool has_parent = parent[0] != '\0' && std::strcmp(parent, folder) != 0;
  if (has_parent && !TestFolderExists(parent) && CreateFolderTree(parent) == 0) return 0;
  return mkdir(folder, 0777) == 0 ? 1 : 0;
}
