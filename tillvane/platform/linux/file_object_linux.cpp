#include <sys/xattr.h>

#include <linux/limits.h>

#include <cerrno>
#include <cstdio>

#include <tillvane/platform/file_object.h>

namespace platform {

int SetExtendedAttribute(const char* path, const char* name, const void* value, unsigned long size) {
  char user_name[XATTR_NAME_MAX + 1];
  const int length = std::snprintf(user_name, sizeof user_name, "user.%s", name);
  if (length < 0 || length > XATTR_NAME_MAX) {
    errno = ERANGE;
    return -1;
  }
  return setxattr(path, user_name, value, size, 0);
}

}  // namespace platform
