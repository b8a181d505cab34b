#include <strings.h>

#include <tillvane/files/LFile.h>

int LIsFileExtensionInList(const char** list, const char* extension) {
  for (; *list != nullptr; ++list) {
    if (strcasecmp(*list, extension) == 0) return 1;
  }
  return 0;
}
