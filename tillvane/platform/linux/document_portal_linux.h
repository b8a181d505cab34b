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

/// Is it what the portal may call a document? Only printable characters of ASCII, and no slash.
bool IsDocumentID(std::string_view text);

/// \param path absolute
/// \return a document without an id for a path that is none in the portal's folder
PortalDocument PortalDocumentOf(std::string_view path);

/// Where the portal's documents are now: asks the portal, which thereby is started, for its folder, once. This should
/// live no longer than the questions belong together. One thread.
class PresentDocuments {
 public:
  /// Where a document is now. For its present name the portal is asked too when it is not there by the one it had. A
  /// bus that does not answer, or not in time, is left alone for a while.
  /// \return empty when the portal does not tell
  std::string PathOf(const PortalDocument& document);

 private:
  std::string folder_;  ///< empty while it is not known
};

}  // namespace platform
