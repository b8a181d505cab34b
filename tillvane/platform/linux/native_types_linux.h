#pragma once

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

/// A file by its folder and its name. What stands for the volume and for the folder's number elsewhere is a path here.
struct FSSpec {
  char parent[260];        ///< Absolute, terminated, without a slash at the end but the root's own.
  unsigned char name[64];  ///< Its length, then so many bytes. Empty for the root itself.
};
