#pragma once

namespace platform {
struct DescriptorWatch;
struct Event;
struct EventHandlerCall;
}  // namespace platform

using CFSocketRef = platform::DescriptorWatch*;
using CFSocketCallBackType = unsigned long;
using CFDataRef = const void*;
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
