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
