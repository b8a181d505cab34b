#pragma once

#include "comparison.h"

namespace bench {

/// Signal objects beside eventfd, condition variables and bare system calls.
void RunSignalFamily(const Options& options, Results* results);

/// Named signals beside bare local sockets.
void RunNamedFamily(const Options& options, Results* results);

/// The event queue beside GLib's and asio's.
void RunEventsFamily(const Options& options, Results* results);

/// Work for the main thread beside GLib's and asio's.
void RunDispatchFamily(const Options& options, Results* results);

/// Threads beside std::thread and bare ones.
void RunThreadsFamily(const Options& options, Results* results);

/// The locks beside pthread's, the standard library's and bare system calls.
void RunLocksFamily(const Options& options, Results* results);

/// The printf engine and growable text beside the C library's, fmt's and Abseil's.
void RunFormatFamily(const Options& options, Results* results);

/// Conversions of text beside iconv and ICU.
void RunCharsetsFamily(const Options& options, Results* results);

/// Readers of text beside GLib's and plain ones.
void RunStringsFamily(const Options& options, Results* results);

/// Whole text files beside streams and bare system calls.
void RunTextFilesFamily(const Options& options, Results* results);

/// Paths beside the standard library's and GLib's, matches beside fnmatch.
void RunPathsFamily(const Options& options, Results* results);

/// Lines and short texts of open files beside streams and bare system calls.
void RunFilesFamily(const Options& options, Results* results);

/// Folders listed and deleted beside fts, find, rm and the standard library.
void RunFoldersFamily(const Options& options, Results* results);

/// The user's folders beside GLib's.
void RunSpecialFoldersFamily(const Options& options, Results* results);

/// Copies of files and folders beside the system's own and the standard library's.
void RunCopiesFamily(const Options& options, Results* results);

/// Grants that a new manager takes over, beside a look at each.
void RunBookmarksFamily(const Options& options, Results* results);

/// The list of processes beside libproc2's and the program ps.
void RunProcessesFamily(const Options& options, Results* results);

/// Commands and their output beside popen, system and bare calls.
void RunCommandsFamily(const Options& options, Results* results);

/// Sockets and listeners beside bare ones and asio's.
void RunNetFamily(const Options& options, Results* results);

/// How late a host's own timer is while the bridge sells.
void RunTickFamily(const Options& options, Results* results);

}  // namespace bench
