#pragma once

#include <tillvane/export.h>
#include <tillvane/platform/native_types.h>

/// \file
/// The old file manager's specification of a file.

/// A path as the old file manager's specification of a file: its folder, and its name of at most 63 bytes. Not
/// synchronised.
class TILLVANE_API LToFSSpec {
 public:
  /// Specifies what is at a path, as CStringToFSSpec() does: IsValid() says whether it could.
  explicit LToFSSpec(const char* path) : is_valid_(CStringToFSSpec(path, &spec_)) {}

  /// Specifies what is at a path, symbolic links followed; or, where nothing is, the name in its folder, which has to
  /// be there.
  /// \param path terminated, absolute or relative to the current folder
  /// \param spec receives the specification, not null
  /// \return false, and the specification as it was, when neither is so, when the name has more than 63 bytes (on Linux
  ///   also: the folder more than 259), and for null
  static bool CStringToFSSpec(const char* path, FSSpec* spec);

  /// Writes the absolute path of what is specified, as many whole characters as fit, and a terminator; an empty text
  /// when nothing is. A capacity of 0 writes nothing.
  void GetString(char* dest, unsigned long capacity) const;

  /// Whether the path could be specified.
  bool IsValid() const { return is_valid_; }
  /// The specification, of no meaning unless it is valid.
  const FSSpec& Get() const { return spec_; }

 private:
  FSSpec spec_{};
  bool is_valid_;
};
