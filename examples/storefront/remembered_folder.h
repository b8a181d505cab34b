#pragma once

#include <string>

namespace storefront {

/// While this lives the program may use what the user granted, in this run or in earlier ones. One at a time.
class Bookmarks {
 public:
  Bookmarks();
  ~Bookmarks();
  Bookmarks(const Bookmarks&) = delete;
  Bookmarks& operator=(const Bookmarks&) = delete;
};

// While there are Bookmarks:

/// Says which folder is remembered from earlier runs, if any. Call it before RememberFolder.
void TellRememberedFolder();

/// Keeps a folder for the next runs, in place of another one, unless it needs no grant. Says what came of it.
/// \param folder absolute, as long as a bookmark's path at most
/// \return false when it was to be kept, and could not be
bool RememberFolder(const std::string& folder);

}  // namespace storefront
