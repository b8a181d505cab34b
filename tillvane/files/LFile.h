#pragma once

#include <tillvane/export.h>

/// Files by their paths: all of it is static. A path is terminated bytes as the system takes them.
class TILLVANE_API LFile {
 public:
  /// Marks a file as UTF-8 text, for programs that look for it: the extended attribute "com.apple.TextEncoding" (on
  /// Linux in the user's own names, "user.com.apple.TextEncoding") of the value "utf-8;134217984". Links are followed.
  /// Any thread.
  /// \return 0, or -1 with errno: where there is no such file, where it may not be written, where the file system has
  ///   no attributes
  static int SetFileAttributeTextEncodingUTF8(const char* path);
};
