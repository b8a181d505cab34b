#pragma once

#include <pthread.h>

#include <tillvane/export.h>

/// \file
/// The debug registry: which threads there are, what each of them is called and which dialog it showed last, and a line
/// for bug reports that is made of it.
///
/// Every thread of the toolkit is registered while it runs; a host registers its own. There is room for 64: a thread
/// beyond them goes unregistered without a word, and what is said of "the caller's record" below then does nothing. A
/// thread that registers twice has two records and stops twice; the first of them counts.
///
/// Any thread may call any function here, none of them in a signal handler. Texts may be null, which is an empty one.

/// One thread. The thread alone writes its texts, and any other may find them half written.
struct LDebugThreadData {
  unsigned int id;  ///< The system's number of the thread; 0xFFFFFFFF a free record, 0xFFFFFFFE one being claimed.
  char dialog[32];  ///< The dialog that it showed last and the digits of its name, terminated.
  char name[8];     ///< What it is called, terminated: see LDebugFormatThreadName().
};

/// The registry. The records in use stand at its beginning, with free ones among them.
extern TILLVANE_API LDebugThreadData gDebugThreadData[64];
/// How many records that is.
extern TILLVANE_API unsigned int gnDebugThreads;
/// Recursive: whoever reads other threads' records or the count holds it.
extern TILLVANE_API pthread_mutex_t loDebugThreads;

/// The thread that loaded the library; in a forked process, the one that it began with.
extern TILLVANE_API unsigned int gdwMainThreadId;
/// What the main thread is about, set by the host on the main thread: 0 not known, 1 the program starts, 2 its
/// interface starts, 3 its interface ends, 4 the program ends; what is above is the host's own. 1 to begin with.
extern TILLVANE_API unsigned int gwDebugCurrentCommand;
/// The code of the last command, set by the host; 0 to begin with.
extern TILLVANE_API unsigned int gwDebugLastCommand;

/// Claims a record for the caller, with a name that is made of the tag and an empty last dialog.
TILLVANE_API void LDebugThreadDataStartThread(const char* tag);

/// Frees the caller's record.
TILLVANE_API void LDebugThreadDataStopThread();

/// Gives the caller's record another name.
TILLVANE_API void LDebugThreadSetName(const char* tag);

/// Notes in the caller's record which dialog it shows: the text and the three digits that its name has, 31 bytes of it.
TILLVANE_API void LDebugThreadSetLastDialog(const char* text);

/// Makes a name: up to four bytes of the tag, then the last three digits of the number, the lowest first: 'Worker' and
/// 123456 are "Work654". A tag that is null gives the last four digits as they stand: "3456".
/// \param out receives at most 7 bytes and a terminator; a character of several bytes may be cut
/// \param tag what the name begins with
/// \param id the thread's number
TILLVANE_API void LDebugFormatThreadName(char* out, const char* tag, unsigned int id);

/// Sets the process's one status text, of which 259 bytes count. The caller owns it until another thread sets one: two
/// that do so at the same moment may leave a mixture.
TILLVANE_API void LDebugThreadStatusSet(const char* text);

/// Gives the status text up, when the caller owns it.
TILLVANE_API void LDebugThreadStatusClear();

/// Another name for the calling thread, for as long as this lives. It is made and destroyed on one thread.
class TILLVANE_API LBugReportBlockScope {
 public:
  /// Gives the caller's record a name that is made of the tag.
  explicit LBugReportBlockScope(const char* tag);
  /// Gives the record its former name back.
  ~LBugReportBlockScope();
  LBugReportBlockScope(const LBugReportBlockScope&) = delete;
  LBugReportBlockScope& operator=(const LBugReportBlockScope&) = delete;

 private:
  friend struct LBugReportBlockScopeLayout;

  char name_[8] = {};
  unsigned int index_;  ///< 0xFFFFFFFF without a record
};

/// Describes the running system and the calling thread in one line, "FIRST-SYSTEM-THIRD-THREAD", for example
/// 'beta-MacIntel610-4711-Work654Open654GuiIni2'.
///
/// SYSTEM is "MacIntel", the system's major version and its minor one in two digits. THREAD is the caller's name
/// ("Unknown" without a record, and nothing when it begins with a digit), its last dialog, and then its status text, if
/// it owns it, or else what the main thread is about: "Ukn0(LstCmd7)", "GloIni1", "GuiIni2", "GuiDes3", "GloDes4",
/// "(Cmd8)".
/// \param out room for 260 bytes; what does not fit is cut
/// \param first the host's own; not in `out`, which is emptied first
/// \param third the host's own, as `first`
/// \return the length of the whole line, as snprintf counts it, also when it was cut
TILLVANE_API int LDebugGenerateXIString(char* out, const char* first, const char* third);
