#pragma once

#include <string>

#include <tillvane/core/LList.h>
#include <tillvane/export.h>
#include <tillvane/platform/native_types.h>
#include <tillvane/text/LStringLong.h>

/// \file
/// What a confined application may use outside of its container, kept from run to run. Nothing here is synchronised:
/// all calls are made one at a time. Where memory is missing std::bad_alloc leaves.

/// A file or folder that the user granted. The order of the fields is part of the binary interface.
struct TILLVANE_API LSandboxBookmarkItem {
  LSandboxBookmarkItem() = default;
  /// Stops the access and gives the URL back.
  ~LSandboxBookmarkItem();
  LSandboxBookmarkItem(const LSandboxBookmarkItem&) = delete;
  LSandboxBookmarkItem& operator=(const LSandboxBookmarkItem&) = delete;

  /// Starts the access where the URL knows of such a thing; the system's answer is not looked at. It is on or off:
  /// further starts do nothing, and one stop ends it.
  void StartAccessingSecurityScopedResource();
  /// Stops the access, if it is on and the URL knows of such a thing.
  void StopAccessingSecurityScopedResource();

  LSandboxBookmarkItem* next = nullptr;  ///< The one that was added before; null behind the oldest.
  char path[260] = "";                   ///< What it is found by, byte by byte. A longer one is cut.
  LPlatformURL* url = nullptr;           ///< A reference of its own.
  bool persisted = false;                ///< Its bookmark has been written, or was read.
  char key[260] = "";                    ///< Under which its bookmark is kept; empty until there is one.
  bool accessing = false;                ///< Its access is on.
  bool flag = true;                      ///< The caller's; nothing here looks at it.
};

/// Keeps what the user granted, one for the process. Each grant that is to be kept has a key, which the caller chooses:
/// the preferences have its bookmark under that key, and under "SECURITY_BOOKMARK_KEYS" the list of keys. A new manager
/// takes over all of them, and starts their access.
///
/// A key is UTF-8, best plain ASCII, of at most 259 bytes; a longer one is cut between characters. Nothing is kept
/// under one that is empty, not UTF-8, or the list's. Paths and keys are not null, except that a key may be where
/// nothing is to be kept. The order of the fields is part of the binary interface.
class TILLVANE_API LSandboxBookmarkManager {
 public:
  /// Takes over what is kept. A bookmark that leads nowhere now stays for the next time; one that cannot be read is
  /// dropped. While the preferences cannot be read, there is nothing to take over, and the list on disk stays as it is.
  LSandboxBookmarkManager();
  /// Sets the list of keys, without a wait for the disk, and stops every access.
  ~LSandboxBookmarkManager();
  LSandboxBookmarkManager(const LSandboxBookmarkManager&) = delete;
  LSandboxBookmarkManager& operator=(const LSandboxBookmarkManager&) = delete;

  /// \name The manager of the process, by which all static functions work: after Create(), and before Destroy()
  /// @{

  /// The manager of the process; null before Create().
  static LSandboxBookmarkManager* pInstance;

  /// Makes the manager of the process. Once.
  static void Create();
  /// Deletes it. Once: `pInstance` goes on pointing to what is no longer there.
  static void Destroy();

  /// InstanceAddFilePath() with the flags crossed: the second one decides whether the grant is kept, the first one
  /// becomes the item's.
  static void AddFilePath(const char* path, LPlatformURL* url, bool first, bool second, const char* key);
  /// InstanceAddFilePathToSettings() of the manager of the process.
  static bool AddFilePathToSettings(const char* path, bool flag, const char* key);

  /// Starts the access of the newest item of this path that is not being accessed.
  static void StartAccessingSecurityScopedResource(const char* path);
  /// Stops the access of the newest item of this path that is being accessed.
  static void StopAccessingSecurityScopedResource(const char* path);

  /// May the path be used without a grant: is it in the container, and not behind one of its links to the outside? The
  /// flag means nothing. Without a sandbox all of the home is such a place.
  static bool IsAccessAllowedByEntitlement(const char* path, bool flag);
  /// @}

  /// \name What they do with this manager
  /// @{

  /// Looks for a grant.
  /// \return the newest item of this path, null when there is none
  LSandboxBookmarkItem* InstanceGetItem(const char* path) const;

  /// Puts a key on the list and waits for the disk, unless it is there. A list that could not be read before is read
  /// first; while it still cannot, nothing is written.
  void InstanceAddKey(const char* key);

  /// Keeps an item's bookmark under a key, and waits for the disk.
  /// \return false, also when it is kept already; when there is no bookmark; when it could not be written, though other
  ///   readers of this process see it
  bool InstanceSaveBookmarkToFile(LSandboxBookmarkItem* item, const char* key);

  /// Makes the bookmarks of all items that are kept anew, and waits for the disk. An item without one now keeps its old
  /// one.
  void InstanceSaveBookmarksToFile();

  /// Adds a grant and starts its access. Of a path that is there already the grant stays as it was, and the new URL is
  /// ignored. A path that needs no grant is added, but neither accessed nor kept. One of more than 259 bytes is cut,
  /// and is accessed, but not kept: the next run could not tell it from another one.
  /// \param path what the item is found by
  /// \param url the item takes a reference of its own
  /// \param save_to_settings whether the grant is kept for the next run
  /// \param caller_flag becomes LSandboxBookmarkItem::flag
  /// \param key under which the grant is kept; may be null when it is not
  void InstanceAddFilePath(const char* path, LPlatformURL* url, bool save_to_settings, bool caller_flag,
                           const char* key);

  /// Keeps a grant that was added.
  /// \param path what its item is found by
  /// \param flag means nothing
  /// \param key under which it is kept
  /// \return false for a path that needs no grant, for one that was not added or is longer than 259 bytes, and as
  ///   InstanceSaveBookmarkToFile(), so also for one that is kept already
  bool InstanceAddFilePathToSettings(const char* path, bool flag, const char* key);

  /// Takes over the grant that is kept under a key.
  /// \param key the key, a text of the system's own kind
  /// \param removed whether it leads nowhere: a bookmark that cannot be read, which is dropped with its key, or a file
  ///   that is not there, or whose path is too long, which stays for the next time
  /// \return whether there was anything under the key. If not, the key is taken off the list; so is what is no key,
  ///   whatever there is under it
  bool InstanceLoadBookmark(LPlatformString* key, bool& removed);

  /// Takes over every grant on the list, and makes the bookmarks anew when any of them leads nowhere.
  void InstanceLoadBookmarksFromFile();
  /// @}

  LList<LSandboxBookmarkItem> items;    ///< The newest first. They are the manager's.
  LPlatformStringArray* keys;           ///< The manager's. The oldest first.
  LStringLongTemplate<char> downloads,  ///< "Downloads" in the user's real home.
      movies,                           ///< "Movies" there.
      music,                            ///< "Music" there.
      pictures;                         ///< "Pictures" there.

 private:
  void ReadList();
  bool HasList();
  void StoreKeys();
  bool KeepUnder(LSandboxBookmarkItem* item, const char* key);
  bool LoadBookmark(const std::string& key, bool* removed);
  bool TakeOver(LPlatformURL* url, const std::string& key);
};
