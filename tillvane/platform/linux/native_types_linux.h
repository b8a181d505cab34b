#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <tillvane/export.h>

namespace platform {
struct DescriptorWatch;
struct Event;
struct EventHandlerCall;
struct NativeBundle;
struct NativeString;
struct NativeURL;
}  // namespace platform

using CFBundleRef = platform::NativeBundle*;
using CFSocketRef = platform::DescriptorWatch*;
using CFSocketCallBackType = unsigned long;
using CFDataRef = const void*;
using CFStringRef = const platform::NativeString*;
using CFURLRef = const platform::NativeURL*;
using EventRef = platform::Event*;
using EventHandlerCallRef = platform::EventHandlerCall*;
using OSStatus = int;

/// A file that the user granted: made by LPlatformURLCreate().
struct LPlatformURL;
using LPlatformString = const platform::NativeString;

/// Texts in the order in which they came, the same one perhaps more than once. Not synchronised.
struct TILLVANE_API LPlatformStringArray {
  LPlatformStringArray();
  ~LPlatformStringArray();
  LPlatformStringArray(const LPlatformStringArray&) = delete;
  LPlatformStringArray& operator=(const LPlatformStringArray&) = delete;

  void Append(std::string_view text);
  /// Asks, and takes away all that are equal, in a time that does not grow with the number of texts.
  bool Contains(std::string_view text) const;
  void Remove(std::string_view text);

  unsigned Count() const;
  /// The array's own until that text is removed; null behind the last one.
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

/// A process: its name, cut and terminated, and its number.
struct kinfo_proc {
  struct {
    char p_comm[16];
    int p_pid;
  } kp_proc;
};

/// An application that runs: its process's number in the low half.
struct LPlatformProcessSerialNumber {
  unsigned int highLongOfPSN, lowLongOfPSN;
};
using ProcessSerialNumber = LPlatformProcessSerialNumber;
