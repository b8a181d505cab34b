#include <unistd.h>

#include <tillvane/files/LFile.h>
#include <tillvane/files/path_text.h>
#include <tillvane/system/LCFURL.h>

namespace {

bool IsThere(const char* path) { return access(path, F_OK) == 0; }

/// A URL that is relative, as that of an encoded path is, leads on from the current directory.
bool LeadsToSomething(const LCFURL& url) {
  char path[files::kPathSize];
  return url.GetPath(path, sizeof path) && IsThere(path);
}

}  // namespace

bool LFile::TestFolderExists(const char* path) {
  LCFURL url;
  url.CreateFromFullPath(path);
  return IsThere(path) || LeadsToSomething(url);
}

bool LFile::TestFileExists(const char* path) { return TestFolderExists(path); }
