#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <tillvane/export.h>

/// \file
/// What stands on Linux for the system's types that public declarations name.

namespace platform {
struct DescriptorWatch;
struct Event;
struct EventHandlerCall;
struct NativeBundle;
struct NativeString;
struct NativeURL;
}  // namespace platform

/// The bundle of the running application: LCFBundle.
using CFBundleRef = platform::NativeBundle*;
/// A descriptor that the event loop watches: LProcessEventsHandler::SocketCallBack().
using CFSocketRef = platform::DescriptorWatch*;
/// What the event loop saw at a descriptor.
using CFSocketCallBackType = unsigned long;
/// Where the event loop would hand over an address; null on Linux.
using CFDataRef = const void*;
/// A text: LCFString.
using CFStringRef = const platform::NativeString*;
/// A file URL: LCFURL.
using CFURLRef = const platform::NativeURL*;
/// An event of the main queue: LThreadRunOnMainThread.
using EventRef = platform::Event*;
/// The call of an event's handler: LThreadRunOnMainThread::EventHandler().
using EventHandlerCallRef = platform::EventHandlerCall*;
/// 0, or the system's number of what went wrong.
using OSStatus = int;

/// A file that the user granted: made by LPlatformURLCreate().
struct LPlatformURL;
/// A text, as LSandboxBookmarkManager::InstanceLoadBookmark() takes it.
using LPlatformString = const platform::NativeString;

/// Texts in the order in which they came, the same one perhaps more than once. Not synchronised.
struct TILLVANE_API LPlatformStringArray {
  /// No texts.
  LPlatformStringArray();
  ~LPlatformStringArray();
  LPlatformStringArray(const LPlatformStringArray&) = delete;
  LPlatformStringArray& operator=(const LPlatformStringArray&) = delete;

  /// Copies a text to the end. Without memory std::bad_alloc leaves, and the array is as it was.
  void Append(std::string_view text);
  /// Is there an equal text? The time does not grow with the number of texts.
  bool Contains(std::string_view text) const;
  /// Takes all equal texts away, in a time that does not grow with the number of the others.
  void Remove(std::string_view text);

  /// How many texts there are.
  unsigned Count() const;
  /// The text at a place, counted from 0: the array's own, until that text is removed; null behind the last one.
  const char* At(unsigned place) const;
  /// Copies of all, which is quicker than one place after the other.
  std::vector<std::string> All() const;

 private:
  struct Texts;
  std::unique_ptr<Texts> texts_;
};

/// A file by its folder and its name. What stands for the volume and for the folder's number elsewhere is a path here.
struct FSSpec {
  char parent[260];        ///< Absolute, terminated, without a slash at the end but the root's own.
  unsigned char name[64];  ///< Its length, then so many bytes. Empty for the root itself.
};

/// A process, as LGetBSDProcessList() tells of it: `kp_proc.p_comm` is its name, cut and terminated, and
/// `kp_proc.p_pid` its number.
struct kinfo_proc {
  /// \cond no name to link to
  struct {
    char p_comm[16];
    int p_pid;
  } kp_proc;
  /// \endcond
};

/// An application that runs: its process's number in the low half.
struct LPlatformProcessSerialNumber {
  unsigned int highLongOfPSN,  ///< 0.
      lowLongOfPSN;            ///< The process's number; 0 for none.
};
/// The name that LGetPSNFromSignature() has for it.
using ProcessSerialNumber = LPlatformProcessSerialNumber;
