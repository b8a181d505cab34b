#pragma once

/// \file
/// A bookmark's bytes: "LBMK", the version, flags, the file's identity, then three texts with their lengths, and a
/// checksum of all that. Numbers are little-endian.

#include <optional>
#include <string>
#include <vector>

#include <tillvane/platform/linux/document_portal_linux.h>
#include <tillvane/platform/linux/file_identity_linux.h>

namespace platform {

struct BookmarkRecord {
  std::string path;  ///< absolute
  FileIdentity identity;
  PortalDocument document;  ///< without an id where the file is none
};

/// \return none when a text is longer than a path may be or has a zero in it, when the path is not absolute, when a
///   document lacks its id or its rest, and for what is no id
std::optional<std::vector<unsigned char>> EncodeBookmark(const BookmarkRecord& record);

/// \return none for bytes that EncodeBookmark() did not make
std::optional<BookmarkRecord> DecodeBookmark(const std::vector<unsigned char>& bytes);

}  // namespace platform
