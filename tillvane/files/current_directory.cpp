#include <unistd.h>

#include <tillvane/files/LFile.h>
#include <tillvane/files/path_text.h>

char* LFile::GetCurrentDirectory(char* out) {
  if (getcwd(out, files::kPathSize) != nullptr) return out;
  // The system does not say what it leaves there.
  out[0] = '\0';
  return nullptr;
}

int LFile::SetCurrentDirectory(const char* path) { return chdir(path); }
