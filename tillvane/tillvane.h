#pragma once

/// \file
/// Everything a host needs: the store bridge's C functions and the toolkit's classes.

#include <tillvane/core/LDetachedThread.h>
#include <tillvane/core/LEventQueue.h>
#include <tillvane/core/LFileLock.h>
#include <tillvane/core/LList.h>
#include <tillvane/core/LLockObjectShared.h>
#include <tillvane/core/LProcessEventsHandler.h>
#include <tillvane/core/LProcessInterface.h>
#include <tillvane/core/LProcessRun.h>
#include <tillvane/core/LQueuedNotify.h>
#include <tillvane/core/LSignalObject.h>
#include <tillvane/core/LSystemLockMutex.h>
#include <tillvane/core/LThread.h>
#include <tillvane/core/LThreadNotifyInterface.h>
#include <tillvane/core/LThreadRunOnMainThread.h>
#include <tillvane/store/TillvaneStore.h>
#include <tillvane/text/LStringLong.h>
