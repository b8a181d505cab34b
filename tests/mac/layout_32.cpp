// The binary interface as a 32-bit build lays it out, in numbers: compiled, never linked. The sources themselves hold
// the order and the widths of the fields on every system; here are the places that follow.

#include <sys/sysctl.h>
#include <sys/un.h>

#include <cstddef>

#include <tillvane/tillvane.h>

#pragma GCC diagnostic ignored "-Winvalid-offsetof"

// --- What the system's own types are there ---

static_assert(sizeof(void*) == 4 && sizeof(long) == 4 && sizeof(wchar_t) == 4 && sizeof(bool) == 1);
static_assert(sizeof(pthread_t) == 4 && sizeof(pthread_mutex_t) == 44);
static_assert(sizeof(kinfo_proc) == 492);
static_assert(offsetof(kinfo_proc, kp_proc.p_pid) == 24);
static_assert(offsetof(kinfo_proc, kp_proc.p_comm) == 163 && sizeof(kinfo_proc::kp_proc.p_comm) == 17);
static_assert(sizeof(sockaddr_un) == 106 && offsetof(sockaddr_un, sun_path) == 2);
static_assert(sizeof(sockaddr_in) == 16 && offsetof(sockaddr_in, sin_len) == 0 &&
              offsetof(sockaddr_in, sin_family) == 1);
static_assert(sizeof(fd_set::fds_bits) / sizeof(fd_set::fds_bits[0]) == 32 && sizeof(fd_set::fds_bits[0]) == 4);
static_assert(sizeof(ProcessSerialNumber) == 8);

// --- Waiting and signalling ---

static_assert(sizeof(LProcessInterface) == 4 && sizeof(LProcessInterfaceVoid) == 4);
static_assert(sizeof(LProcessEventsHandler) == 4);
static_assert(sizeof(LSignalObject) == 8 && sizeof(LSignalObjectRef) == 8);
static_assert(offsetof(LSignalObjectRef, filedes) == 0);

struct LSignalObjectGroupLayout {
  static_assert(offsetof(LSignalObjectGroup, members_) == 0);
  static_assert(offsetof(LSignalObjectGroup, highest_) == 4 * 32);
  static_assert(offsetof(LSignalObjectGroup, count_) == 4 * 33);
  static_assert(sizeof(LSignalObjectGroup) == 4 * 34);
};

// --- Threads and locks ---

struct LThreadLayout {
  static_assert(offsetof(LThread, handle_) == 4);
  static_assert(offsetof(LThread, port_) == 8);
  static_assert(offsetof(LThread, priority_) == 12);
  static_assert(offsetof(LThread, running_) == 16);
  static_assert(offsetof(LThread, stop_) == 20);
  static_assert(offsetof(LThread, ended_) == 28);
  static_assert(offsetof(LThread, started_) == 36);
  static_assert(offsetof(LThread, start_lock_) == 44);
  // The fields of the binary interface end at 88; behind them lies the state of starting and stopping. A class that
  // derives from it has its own fields after that: a host that does so is compiled with this header.
  static_assert(sizeof(LThread) == 168);
};

struct LDetachedThreadLayout {
  static_assert(offsetof(LDetachedThread, next) == sizeof(LThread));
  static_assert(offsetof(LDetachedThread, owner_) == sizeof(LThread) + 4);
  static_assert(sizeof(LDetachedThread) == sizeof(LThread) + 8);
};

struct LDetachedThreadsOwnerLayout {
  static_assert(offsetof(LDetachedThreadsOwner, threads_) == 0);
  static_assert(offsetof(LDetachedThreadsOwner, list_lock_) == 4);
};

static_assert(offsetof(ProcessRunData, command) == 0);
static_assert(offsetof(ProcessRunData, done) == 12);
static_assert(offsetof(ProcessRunData, release) == 20);
static_assert(offsetof(ProcessRunData, result) == 28);
static_assert(offsetof(ProcessRunData, exitCode) == 32);

static_assert(sizeof(LThreadRunOnMainThreadData) == 4);

struct LThreadRunOnMainThreadLayout {
  static_assert(offsetof(LThreadRunOnMainThread, active_) == 4);
  static_assert(offsetof(LThreadRunOnMainThread, destroying_) == 5);
  static_assert(offsetof(LThreadRunOnMainThread, count_lock_) == 8);
  static_assert(offsetof(LThreadRunOnMainThread, count_) == 52);
  static_assert(sizeof(LThreadRunOnMainThread) == 56);
};

struct LThreadQueuedNotifyLayout {
  static_assert(offsetof(LThreadQueuedNotify, sender_) == 4);
  static_assert(sizeof(LThreadQueuedNotify) == 60);
};

struct LThreadQueuedNotifyDataLayout {
  static_assert(offsetof(LThreadQueuedNotifyData, notify_) == 4);
  static_assert(sizeof(LThreadQueuedNotifyData) == 8);
};

struct LQueuedNotifyDataHandlerLayout {
  static_assert(offsetof(LQueuedNotifyDataHandler, sender_) == 4);
  static_assert(sizeof(LQueuedNotifyDataHandler) == 60);
};

struct LThreadNotifyInterfaceLayout {
  static constexpr std::size_t kOwn = sizeof(LThread) + sizeof(LQueuedNotifyDataHandler);
  static_assert(offsetof(LThreadNotifyInterface, target_) == kOwn);
  static_assert(offsetof(LThreadNotifyInterface, sender_) == kOwn + 4);
  static_assert(offsetof(LThreadNotifyInterface, text_lock_) == kOwn + 8);
  static_assert(offsetof(LThreadNotifyInterface, status_0_) == kOwn + 52);
  static_assert(offsetof(LThreadNotifyInterface, status_1_) == kOwn + 312);
  static_assert(sizeof(LThreadNotifyInterface) == kOwn + 572);
};

struct LQueuedNotifyDataHandlerDataLayout {
  static_assert(offsetof(LQueuedNotifyDataHandlerData, handler_) == 4);
  static_assert(offsetof(LQueuedNotifyDataHandlerData, code_) == 8);
  static_assert(offsetof(LQueuedNotifyDataHandlerData, copy_) == 12);
  static_assert(offsetof(LQueuedNotifyDataHandlerData, size_) == 16);
  static_assert(sizeof(LQueuedNotifyDataHandlerData) == 20);
};

struct LSignalObjectNamedLayout {
  static_assert(offsetof(LSignalObjectNamed, address_) == 0);
  static_assert(offsetof(LSignalObjectNamed, connection_) == 108);
  // The descriptor of the sending side lies behind the fields of the binary interface.
  static_assert(sizeof(LSignalObjectNamed) == 116);
};

struct LSystemLockMutexLayout {
  static_assert(offsetof(LSystemLockMutex, key_) == 0);
  static_assert(offsetof(LSystemLockMutex, identifier_) == 4);
};

struct LLockObjectSharedLayout {
  static_assert(offsetof(LLockObjectShared, guard_) == 0);
  static_assert(offsetof(LLockObjectShared, readers_gone_) == 44);
  static_assert(offsetof(LLockObjectShared, count_) == 52);
};

// --- Text ---

struct LStringLongLayout {
  static_assert(offsetof(LStringLong, buffer_) == 0);
  static_assert(offsetof(LStringLong, length_) == 4);
  static_assert(offsetof(LStringLong, capacity_) == 8);
  static_assert(sizeof(LStringLong) == 12);
};
static_assert(sizeof(LStringLongTemplate<wchar_t>) == 12 && sizeof(LStringLongTemplate<unsigned short>) == 12);
static_assert(sizeof(LFixedLengthStringWriterTemplate<char>) == 12);
static_assert(sizeof(LStringLongTemplateAppender<char>) == 4 && sizeof(LStringLongTemplateWriter<char>) == 4);
static_assert(offsetof(LVector<char*>, count) == 4 && sizeof(LVector<char*>) == 8);
static_assert(sizeof(LUTF8StringLongRef) == 4);

// --- Files ---

static_assert(sizeof(LReadFileRef) == 4 && sizeof(LWriteFileRef) == 4);
static_assert(sizeof(LReadFileBuffered) == 4 + 8192 + 4 + 4);
static_assert(offsetof(LFile::FolderIterator, dir) == 4);
static_assert(offsetof(LFile::FolderIterator, entry) == 8);
static_assert(offsetof(LFile::FolderIterator, folder) == 8 + sizeof(dirent));
static_assert(offsetof(LFile::FolderIterator, pattern) == 8 + sizeof(dirent) + 260);
static_assert(offsetof(LLockFile, filedes) == 0 && offsetof(LLockFile, path) == 4 && sizeof(LLockFile) == 264);
static_assert(offsetof(LProcessCopyFile, destination) == 4 && sizeof(LProcessCopyFile) == 8);

static_assert(offsetof(LSandboxBookmarkItem, next) == 0);
static_assert(offsetof(LSandboxBookmarkItem, path) == 4);
static_assert(offsetof(LSandboxBookmarkItem, url) == 264);
static_assert(offsetof(LSandboxBookmarkItem, persisted) == 268);
static_assert(offsetof(LSandboxBookmarkItem, key) == 269);
static_assert(offsetof(LSandboxBookmarkItem, accessing) == 529);
static_assert(offsetof(LSandboxBookmarkItem, flag) == 530);
static_assert(sizeof(LSandboxBookmarkItem) == 532);
static_assert(offsetof(LSandboxBookmarkManager, items) == 0);
static_assert(offsetof(LSandboxBookmarkManager, keys) == 4);
static_assert(offsetof(LSandboxBookmarkManager, downloads) == 8);
static_assert(offsetof(LSandboxBookmarkManager, movies) == 20);
static_assert(offsetof(LSandboxBookmarkManager, music) == 32);
static_assert(offsetof(LSandboxBookmarkManager, pictures) == 44);
static_assert(sizeof(LSandboxBookmarkManager) == 56);

// --- The system's own objects ---

static_assert(sizeof(FSSpec) == 70 && sizeof(LToFSSpec) == 72);
static_assert(sizeof(LCFString) == 4 && sizeof(LCFURL) == 4 && sizeof(LCFBundle) == 4);
static_assert(sizeof(LUnicodeString) == 4);

// --- Processes, sockets, diagnostics ---

static_assert(offsetof(LPipeIn, stream) == 0 && offsetof(LPipeIn, filedes) == 4);
static_assert(offsetof(LPipeOut, stream) == 0 && offsetof(LPipeOut, filedes) == 4);
static_assert(sizeof(LPipeInOut) == 12);
static_assert(sizeof(LIPAddressWithPort) == 16);
static_assert(sizeof(LIPSocketTCP) == 4 && sizeof(LIPSocketTCPRef) == 4);

struct LIPAddressLayout {
  static_assert(offsetof(LIPAddressMultiHomedWithPort, port_) == 0);
  static_assert(offsetof(LIPAddressMultiHomedWithPort, count_) == 4);
  static_assert(offsetof(LIPAddressMultiHomedWithPort, addresses_) == 8);
  static_assert(sizeof(LIPAddressMultiHomedWithPort) == 12);
};

struct LTCPListenerLayout {
  static_assert(offsetof(LTCPListener, port_) == sizeof(LThread));
  // The port that was bound lies in the room behind it.
  static_assert(sizeof(LTCPListener) == sizeof(LThread) + 4);
};

struct LHangDetectorLayout {
  static_assert(offsetof(LHangDetector, path_) == 0);
  static_assert(offsetof(LHangDetector, descriptor_) == 260);
  // What it found lies behind the fields of the binary interface.
  static_assert(sizeof(LHangDetector) == 272);
};

static_assert(sizeof(LDebugThreadData) == 44 && offsetof(LDebugThreadData, dialog) == 4);
static_assert(offsetof(LDebugThreadData, name) == 36);
static_assert(sizeof(LBugReportBlockScope) == 12);
