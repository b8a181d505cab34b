#include <unistd.h>

#include <tillvane/files/LFile.h>
#include <tillvane/platform/native_url.h>
#include <tillvane/system/LCFURL.h>

bool LFile::TestFolderExists(const char* path) {
  LCFURL url;
  url.CreateFromFullPath(path);
  if (access(path, F_OK) == 0) return true;
  // A URL that is relative, as that of an encoded path is, leads on from the current directory.
  return url.Get() != nullptr && platform::IsURLOfSomething(url.Get());
}

bool LFile::TestFileExists(const char* path) { return TestFolderExists(path); }
