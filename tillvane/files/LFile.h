#pragma once

#include <tillvane/export.h>

/// \file
/// Files by their paths: names taken apart and put together, folders, copies, volumes, and the folders of the user.

/// Files by their paths: all of it is static. A path is terminated bytes as the system takes them.
///
/// The operations on paths only look at the bytes; but for the current directory, none of them asks the system or
/// allocates. An output is a buffer of 260 bytes: 259 characters and the terminator, which is always written. What is
/// longer is cut without a word. Where a path is taken apart, '/' and '\\' are separators; where one is put together,
/// '/' is written. No pointer may be null. Any thread, several at once.
///
/// Operations on folders with all that is in them work through paths of 259 characters: an entry whose path is longer,
/// joined with the path that was given, is left alone, and so is what is in a folder whose name ends with '\\'. They do
/// not stop where something fails, and take no locks.
class TILLVANE_API LFile {
 public:
  struct FolderIterator;  // LFileFolderIterator.h
  struct FolderIteratorAllFiles;

  /// \name Taking a path apart; the output may be the path itself
  /// @{

  /// The folder without a separator at its end: '/a/b' of '/a/b/c' and of '/a/b/', '/' of '/c'; empty of 'c' and of
  /// '\\c'. Of a path that is too long, the folder of its first 259 characters.
  static void _GetFolderFromPath(char* folder, const char* path);

  /// The topmost folder: all before the first separator at index 2 or later, 'C:' of 'C:\\d\\x', '/a' of '/a/b'. A path
  /// without such a separator is its own topmost folder, less a separator at its end if it is longer than one
  /// character.
  static void _GetBaseFolderFromPath(char* folder, const char* path);

  /// What follows the last separator: empty of '/a/b/'.
  static void _GetFileFromPath(char* file, const char* path);

  /// The file without its extension, from its last dot on; a dot at the very beginning of the file is part of the name:
  /// 'a.tar' of 'a.tar.gz', all of '.profile'.
  static void _GetFileNameFromPath(char* name, const char* path);

  /// The file's extension with its dot, empty where there is no dot. Here one at the beginning counts: all of
  /// '.profile'.
  static void _GetFileExtensionFromPath(char* extension, const char* path);

  /// The path with another extension, which carries its own dot (or is empty), in place of the one it has, or at its
  /// end when it has none. A dot at the very beginning of the path begins no extension; one at the beginning of a file
  /// in a folder does.
  /// \param out may be the path
  /// \param path whose extension is replaced
  /// \param extension does not lie in the output
  static void _ApplyNewFileExtension(char* out, const char* path, const char* extension);
  /// @}

  /// \name Putting one together
  /// @{

  /// Folder, '/', name and suffix. Of the folder at most 258 characters count. There is no '/' after an empty folder,
  /// and no second one after a folder that ends with a separator.
  /// \param out may be the folder, which is then extended in place; it overlaps nothing else
  /// \param folder may be empty
  /// \param name of the file
  /// \param suffix for example ".lck", or empty
  /// \return how many characters of the name and the suffix were stored
  static unsigned long _MakeFilePath(char* out, const char* folder, const char* name, const char* suffix);

  /// An absolute path of a relative one. One that begins with a separator, or that has a ':' before the first one, is
  /// absolute already. Otherwise './' at its beginning is skipped, each '../' there takes a folder off the base, and
  /// what is left is joined with it as `_MakeFilePath` does.
  ///
  /// The base ends with a separator: without one, a step up takes off one folder too many ('x' of '/a/b' and '../x').
  /// The last two characters are never looked at, so that a base of two characters stays as it is, and of a shorter one
  /// nothing is taken and the rest of the steps is kept.
  /// \param out may be the base; it overlaps nothing else
  /// \param base a folder, with a separator at its end
  /// \param relative the path, absolute or relative to the base
  /// \param suffix for example ".lck", or empty
  /// \return as `_MakeFilePath`
  static unsigned long MakeAbsoluteFilePath(char* out, const char* base, const char* relative, const char* suffix);

  /// The way from a folder to a target with '../' for steps up; only '/' separates here, and a base has one at its end
  /// in thought. What both have in common may end within a name: '../d/x' from '/a/bc/' to '/a/bd/x'.
  /// \param out may be the base or the target. It has 260 bytes, and three for every '/' of the base and the one in
  ///   thought
  /// \param base the folder where the way begins
  /// \param target the path where it ends
  /// \return 1
  static int MakeRelativeFilePath(char* out, const char* base, const char* target);

  /// MakeRelativeFilePath(), for a target that is a folder.
  static int MakeRelativeFolder(char* out, const char* base, const char* target);

  /// The way from a base to a target, in whole names. Steps up end with the separator that both paths have in common
  /// last. A base without a separator at its end is itself stepped out of, but for targets that lie in it. Paths that
  /// have no separator in common give the target as it is.
  /// \param out may be the base or the target
  /// \param base where the way begins
  /// \param target where it ends
  /// \return 1, or 0 with an empty output when the way would be longer than 260 characters; one of exactly 260 loses
  ///   its last
  static int GetRelativePathFromAbsolutePath(char* out, const char* base, const char* target);
  /// @}

  /// \name Names and paths that somebody typed; here the input comes first
  /// @{

  /// A name for a file: without control characters (1 to 31) and without any of " * / : < > ? \ and |.
  /// \param name as it was typed
  /// \param out may be the name
  /// \return 1, or 0 when nothing is left
  static int PreprocessName(const char* name, char* out);

  /// The same for a path: the two separators stay.
  /// \param path as it was typed
  /// \param out may be the path
  /// \return 1, or 0 when nothing but blanks is left, which are stored all the same
  static int PreprocessPath(const char* path, char* out);

  /// A path for a command line, between double quotes: with a backslash before every double quote and backquote. It is
  /// cut wherever 259 characters end, also behind such a backslash.
  /// \param path as the command is to see it
  /// \param out does not overlap the path
  /// \return `out`
  static char* EscapeFilePath(const char* path, char* out);

  /// Does all of the name match the pattern? In a pattern '*' is any characters, also none, '?' is exactly one, and
  /// every other byte is itself. There is no escape. Texts of any length; the time is at most as their product. For
  /// `char`.
  template <class T>
  static bool IsMatch(const T* pattern, const T* name);
  /// @}

  /// \name Folders; 1 is success and 0 failure, with errno
  /// @{

  /// Makes a folder, and the folders above it that are missing, of mode 0777 less the process's mask.
  /// \return 1 when it was made: 0 when it is there already
  static int CreateFolderTree(const char* folder);

  /// Deletes what is in a folder but for folders and links to folders, and then the folder.
  /// \return 1 when the folder is gone; 0 for example when there are folders in it, which stay
  static int DeleteFolderAndFiles(const char* folder);

  /// Deletes a folder with all that is in it. A link to a folder is followed: what is in that folder is deleted, while
  /// the link stays, and with it the folder that it is in. Do not use it on trees that may have such links.
  /// \return 1 when the folder is gone; 0 otherwise, and for an empty path
  static int DeleteFolderTree(const char* folder);

  /// The same, also for files that are marked as immutable or append only, if these marks are the caller's to take
  /// away. Those of folders stay.
  static int DeleteFolderTreeAlways(const char* folder);

  /// Deletes the entries of a folder that match a pattern as `FolderIterator` lists them, and whose status last changed
  /// more than so many days ago, or that are links to nothing. Folders stay. With days below 1 nothing happens.
  static void DeleteOldFiles(const char* folder, const char* pattern, int days);

  /// Lets everybody read, write and execute a file, or a folder with all that is in it (mode 0777). Links are followed.
  static void SetFolderSecurityAllAccess(const char* path);
  /// @}

  /// \name Copies
  /// @{

  /// Copies a file's bytes and permission bits, a folder with all that is in it, or a link as a link. What is at the
  /// destination is deleted first, if it is no folder, also when the copy then fails. Of a file that could not be
  /// copied whole nothing remains.
  ///
  /// A link is copied by the shell, `cp -R "SOURCE" "DESTINATION"`, cut to 259 characters: paths that come from
  /// elsewhere must not have characters that mean something between double quotes.
  /// \return 1, or 0 with errno; 0 for pipes, sockets and devices, and, with nothing touched, for a file onto itself
  static int CopyFile(const char* source, const char* destination);

  /// Copies what is in a folder into another, which is made when it is missing. Links to folders are followed, and
  /// links to files copied as links; each file is copied by `CopyFile`. What is there with the same name is replaced.
  ///
  /// Do not use it on trees whose names others choose: those of links are given to the shell as `CopyFile` does. Nor on
  /// such with links to folders above: these are copied into themselves, as deep as a path can be.
  static void CopyFolderFiles(const char* source, const char* destination);
  /// @}

  /// \name Files that others have open; the locks are advisory
  /// @{

  /// Does another holder have a lock of the file that keeps this one from an exclusive one just now? A file that is
  /// missing or cannot be opened is not blocked.
  /// \return 1 or 0
  static int TestFileShareReadBlocked(const char* path);
  /// The same test as TestFileShareReadBlocked().
  static int TestFileShareWriteBlocked(const char* path);
  /// @}

  /// \name Why the calling thread's last operation failed: questions about errno
  /// @{

  /// ENOENT: nothing is there, or a folder on the way to it is missing.
  /// \return 1 or 0, as the next three
  static int IsErrorFileNotFound();
  /// EACCES: the system does not let this user do it.
  static int IsErrorPermissionDenied();
  /// EEXIST: something of this name is there already.
  static int IsErrorAlreadyExists();
  /// EACCES or EAGAIN: no permission, or somebody else's lock.
  static int IsErrorSharingViolation();
  /// @}

  /// \name Where a path lives; a symbolic link is followed
  ///
  /// No path here may be null. These ask the system at each call and keep nothing; where memory is missing
  /// std::bad_alloc leaves. But for the two tests of existence nothing asks a network volume: a server that is gone
  /// holds up nobody, and every path on such a volume counts as one that exists. (A volume that is mounted on demand is
  /// mounted by the question, which may wait.)
  /// @{

  /// Is something there? A file is enough, and so is a folder, for either test. One who may not look into the folder
  /// does not see it. When there is nothing, a file in the current directory whose name is the path as
  /// LURIEncodeToWriterDirect writes it ('%2Ftmp' for '/tmp') counts too. This waits for a network volume.
  static bool TestFolderExists(const char* path);
  /// The same test as TestFolderExists().
  static bool TestFileExists(const char* path);

  /// What kind of drive holds the path: bit 21 for one on an internal bus, bit 27 for one on an external bus, bit 25
  /// for a medium that can be taken out; other bits mean nothing here. A network volume has none of the three.
  /// \return 0 when that is not known, for example where nothing is
  static unsigned int GetVolumeAttributes(const char* path);

  /// Bit 21 of the attributes is clear. Of a path that is not there this and the next two are all true.
  static bool IsOnExternalDrive(const char* path);
  /// Bit 21 is clear, or bit 25 is set.
  static bool IsOnRemovableMedia(const char* path);
  /// The bits 21, 25 and 27 are clear.
  static bool IsNetworkPath(const char* path);

  /// The system's number for the kind of file system. On Linux the low 16 bits of its magic, but 0x6375 for the
  /// desktop's mounts of shares and 0x4A48 for what other programs mount from the network.
  /// \return 0xFFFF when that is not known
  static unsigned short GetVolumeFileSystemID(const char* path);

  /// Neither a network path nor on a file system of the number 0x4A48 or 0x6375; true also when the number is not
  /// known.
  static bool IsOnLocalDrive(const char* path);

  /// How large files may be, by the name of the file system: 0 on FAT12 and FAT16, 1 on FAT32, 2 when no limit is
  /// known.
  static int GetVolumeFileSizeLimit(const char* path);

  /// The path where the volume is mounted. When that is not known, what the path's text says: 'C:\\' of 'C', '/' of
  /// a path that begins with it, else nothing.
  /// \param out may be the path
  /// \param path not null
  static void GetHumanReadableDriveFromPath(char* out, const char* path);

  /// The folder in which drives and network shares appear when they are mounted.
  /// \return 0, or the system's status when there is none; the output is "/Volumes" then
  static int GetMountedDrivesFolder(char* out);
  /// The same folder.
  static int GetNetworkSharesFolder(char* out);
  /// @}

  /// \name Folders that the system has for the user, and for applications
  ///
  /// Each writes a path of at most 259 characters, cut where it is longer, and asks the system afresh. None says that
  /// it failed: a folder that could not be made is not there. A confined application has a home of its own, its
  /// container; on Linux it is a snap's $HOME and inside Flatpak ~/.var/app/ID. No pointer may be null; where memory is
  /// missing std::bad_alloc leaves.
  /// @{

  /// Where applications keep the user's data: on Linux $XDG_DATA_HOME or ~/.local/share, which is not made.
  static void GetUserDataFolder(char* dest);
  /// The same as GetUserDataFolder(): no such folder is the machine's.
  static void GetSharedDataFolder(char* dest);

  /// The folder of this name in the user's data folder, made when it is missing, of mode 0777 less the process's mask.
  /// The user's data folder and those above it, where they are missing, are made for the user alone.
  static void GetUserDataFolderApp(char* dest, const char* name);
  /// The library's own: "Tillvane".
  static void GetUserDataFolderApp(char* dest);
  /// A folder in the library's own, made in the same way. Here the name comes first.
  static void GetUserDataFolderAppSubFolder(const char* name, char* dest);

  /// The folder "Shared" in the library's own.
  static void GetSharedDataFolderApp(char* dest);
  /// A folder in it. When it is missing it is made, and opened to everybody by SetFolderSecurityAllAccess; one that is
  /// there keeps its permissions. The name comes first.
  static void GetSharedDataFolderAppSubFolder(const char* name, char* dest);

  /// The user's folder for downloads, by GetUserSpecialFolder(), as the system tells of it: that one is not made. Where
  /// it tells of none it is "Downloads" in the home, made when it is missing.
  static void GetUserDownloadFolder(char* dest);
  /// The folder whose contents the desktop shows, as GetUserDownloadFolder() says; else "Desktop".
  static void GetUserDesktopFolder(char* dest);
  /// The folder for documents, as GetUserDownloadFolder() says; else "Documents".
  static void GetUserDocumentsFolder(char* dest);
  /// On Linux `applications` in the user's data folder, which has `NAME.desktop` of each application.
  static void GetUserApplicationsFolder(char* dest);
  /// The folder for pictures, as GetUserDownloadFolder() says; else "Pictures".
  static void GetUserPicturesFolder(char* dest);
  /// The folder for videos, as GetUserDownloadFolder() says; else "Movies".
  static void GetUserVideoFolder(char* dest);
  /// The folder for music, as GetUserDownloadFolder() says; else "Music".
  static void GetUserMusicFolder(char* dest);

  /// The home; of a confined application its container.
  static void GetUserFolder(char* dest);

  /// The home in the user's account, as it stands there, whether confined or not; empty for a user without one.
  static void GetUserFolderNonSandboxed(char* dest);
  /// "Downloads" in the folder of GetUserFolderNonSandboxed(), whatever the user calls that folder.
  static void GetUserDownloadFolderNonSandboxed(char* dest);
  /// "Pictures" in that folder.
  static void GetUserPicturesFolderNonSandboxed(char* dest);
  /// "Movies" in that folder.
  static void GetUserVideoFolderNonSandboxed(char* dest);
  /// "Music" in that folder.
  static void GetUserMusicFolderNonSandboxed(char* dest);

  /// The machine's applications. On Linux the first `applications` in $XDG_DATA_DIRS (/usr/local/share:/usr/share) that
  /// is there; "/Applications" when the system tells of none.
  static void GetApplicationsFolder(char* dest);

  /// An application by the name of its entry, 'Maps.app' or 'org.gnome.Maps.desktop': first among the user's, then
  /// among the machine's, which on Linux may be in several folders.
  /// \param dest the path; when there is none, where it would be in the folder of GetApplicationsFolder
  /// \param name of the entry
  /// \return whether there is such an application
  static bool GetInstalledApplicationExePath(char* dest, const char* name);

  /// "/Contents/Resources/help" in the bundle's folder, whether it is there or not; empty when the bundle is not known
  /// or its path is not UTF-8.
  static void GetHelpFolder(char* dest);

  /// Where temporary files go: on Linux $TMPDIR or /tmp, inside Flatpak /var/tmp.
  /// \return `dest`
  static char* GetTempFolder(char* dest);

  /// The bundle's folder, and not the executable in it: LGetBundleFolder, cut between characters; empty when the bundle
  /// is not known or its path is not UTF-8.
  static void GetProgramExecutablePath(char* dest);
  /// @}

  /// \name Between a confined application's container and the user's real folders
  /// @{

  /// Does the path begin with the bytes of the home? So does 'HOME2/x'. Links are not followed. Without a sandbox all
  /// of the home is inside.
  static bool IsPathInSandbox(const char* path);

  /// The real place outside of a path in the container, whose folders may be links to the user's own.
  ///
  /// What is there is resolved. Of what is not there yet, the folders on its way are looked for directly in the home,
  /// one after the other, until one is a link: 'HOME/Downloads/a/b' is in the real Downloads, and a path without a name
  /// behind the link is nowhere.
  /// What resolves to a path that begins with the bytes of the home, or of the home without links, is not outside.
  /// \param dest may be the path
  /// \param path in the container
  /// \return false, and an empty `dest`, when the place is not outside or is not known; a place of more than 259
  ///   characters is cut, and the answer is true
  static bool MakeNonSandboxedFilePath(char* dest, const char* path);
  /// @}

  /// \name Others
  /// @{

  /// A size for people, in units of 1024, cut to whole ones: '1 KB' of 1536, '1 Bytes' of 1.
  /// \param size in bytes
  /// \param out 32 bytes suffice
  /// \return how many characters it has
  static unsigned long GetSizeFormattedBytes(unsigned long long size, char* out);

  /// The process's current directory.
  /// \return `out`, or null with errno and an empty output when it cannot be read or has more than 259 characters
  static char* GetCurrentDirectory(char* out);

  /// Changes the process's current directory: that of all its threads.
  /// \return 0, or -1 with errno: the one operation here whose success is 0
  static int SetCurrentDirectory(const char* path);

  /// Marks a file as UTF-8 text, for programs that look for it: the extended attribute "com.apple.TextEncoding" (on
  /// Linux in the user's own names, "user.com.apple.TextEncoding") of the value "utf-8;134217984". Links are followed.
  /// Any thread.
  /// \return 0, or -1 with errno: where there is no such file, where it may not be written, where the file system has
  ///   no attributes
  static int SetFileAttributeTextEncodingUTF8(const char* path);
  /// @}
};

/// \cond instantiations
template <>
TILLVANE_API bool LFile::IsMatch(const char* pattern, const char* name);
/// \endcond

/// 1 for an ASCII letter or digit, otherwise 0, whatever the locale. Any thread.
TILLVANE_API int LFileIsLetterOrNumber(char character);

/// Is an extension in a list, which ends with a null pointer? The whole texts are compared, with or without the dot as
/// the list has it; lower and upper case of ASCII letters are the same. Any thread.
/// \return 1 or 0
TILLVANE_API int LIsFileExtensionInList(const char** list, const char* extension);
