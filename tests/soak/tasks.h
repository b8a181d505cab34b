#pragma once

#include <memory>
#include <string>

#include "options.h"
#include "task.h"

namespace soak {

// Each makes one task; what they share is made by the first of them. `folder` is the task's own, and need not be there.

/// Commands, their output, pipes to and from them.
std::unique_ptr<Task> MakeCommandTask(const std::string& folder);
/// Copies of files and folders, with progress, some of them stopped; blocks and lock files.
std::unique_ptr<Task> MakeCopyTask(const std::string& folder);
/// Work and notifications for the main thread, reports of a thread.
std::unique_ptr<Task> MakeDispatchTask();
/// Folders made, walked and deleted; paths, volumes, the user's folders, the list of processes.
std::unique_ptr<Task> MakeFolderTask(const std::string& folder);
/// Loses one thing each round.
std::unique_ptr<Task> MakeLeakTask(Leak leak, const std::string& folder);
/// Locks between threads, between processes, and of files. Several of them meet at the same locks.
std::unique_ptr<Task> MakeLockTask(const std::string& folder);
/// Grants kept in the preferences, and the marker of an unclean end. There is one of it: neither is synchronised.
std::unique_ptr<Task> MakeRecordTask(const std::string& outside, const std::string& temporary);
/// Signals between processes, by name.
std::unique_ptr<Task> MakeSignalTask(const std::string& name);
/// A server and its clients, who are stopped in each of their calls.
std::unique_ptr<Task> MakeSocketTask();
/// Text formatted, converted, taken apart, saved and loaded.
std::unique_ptr<Task> MakeTextTask(const std::string& folder);
/// Threads started and stopped while they wait.
std::unique_ptr<Task> MakeThreadTask();

}  // namespace soak
