// Calls that make the compiler number the virtual functions of each class: tools/check_slots.py reads what it says.

#include <tillvane/tillvane.h>

// A call, even one that is not made, needs a place in the table.

void CallEach(LProcessInterfaceVoid& interface) { interface.IsToStop(); }

void CallEach(LProcessEventsHandlerNeverStop& handler) { handler.IsProcessEventHandlerToStop(); }

void CallEach(LTCPListener& listener) { listener.ListenerReserved(); }

void CallEach(LDetachedThread* thread) { delete thread; }

void CallEach(LThreadRunOnMainThreadData& data) { data.MainThreadFunction(); }

void CallEach(const LThreadRunOnMainThread* sender) { delete sender; }

void CallEach(LThreadQueuedNotify& notify) { notify.QueuedNotify(); }

void CallEach(LThreadQueuedNotifyData& data) { data.MainThreadFunction(); }

void CallEach(LQueuedNotifyDataHandlerData& data) { data.MainThreadFunction(); }

void CallEach(LThreadNotifyInterface& thread) { thread.SetProgress(0); }

void CallEach(LFile::FolderIteratorAllFiles* iterator) { delete iterator; }
