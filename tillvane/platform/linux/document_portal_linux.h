#pragma once

/// \file
/// Files of the document portal's: of what the user chose, a confined application sees only FOLDER/ID/NAME, in a
/// folder that the portal mounts.

#include <string>
#include <string_view>

namespace platform {

struct PortalDocument {
  std::string id;    ///< empty for none
  std::string rest;  ///< its name and, of a document that is a folder, the way on from there
};

/// \param path absolute
/// \return a document without an id for a path that is none in the portal's folder
PortalDocument PortalDocumentOf(std::string_view path);

/// Where a document is now: asks the portal, which thereby is started, for its folder and, where it tells, for the
/// document's present name. A bus that does not answer is left alone for a while.
/// \return empty when the portal does not tell
std::string PortalPathOf(const PortalDocument& document);

}  // namespace platform
