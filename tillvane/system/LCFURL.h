#pragma once

#include <tillvane/export.h>
#include <tillvane/platform/native_types.h>

/// \file
/// File URLs of the system's own kind.

/// A file URL of the system's own kind, or none. It owns one reference. Not synchronised.
class TILLVANE_API LCFURL {
 public:
  /// No URL.
  LCFURL() = default;
  ~LCFURL();
  LCFURL(const LCFURL&) = delete;
  LCFURL& operator=(const LCFURL&) = delete;

  /// Replaces the URL by one whose path is the *encoded* text of this one, as LURIEncodeToWriterDirect writes it, of
  /// which 259 characters count: '/tmp' becomes the relative path '%2Ftmp'. It is a folder's when there is a folder at
  /// the path as it was given.
  /// \param path terminated; none is made of an empty one, or of null
  /// \return whether there is one now
  bool CreateFromFullPath(const char* path);

  /// Replaces the URL by the absolute one of the folder in which the application keeps its resources.
  /// \return whether there is one now
  bool CreateFromApplicationBundleResourcesFolder();

  /// Writes the path as UTF-8, as many whole characters as fit, and a terminator. A capacity of 0 writes nothing.
  /// \return false, and an empty text, when there is no URL or its path is not UTF-8
  bool GetPath(char* dest, unsigned long capacity) const;

  /// The URL, which stays this object's own and is valid until it is replaced; null for none.
  CFURLRef Get() const { return url_; }

 private:
  void Release();

  CFURLRef url_ = nullptr;
};

static_assert(sizeof(LCFURL) == sizeof(void*));
