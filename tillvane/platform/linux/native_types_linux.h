#pragma once

namespace platform {
struct DescriptorWatch;
struct Event;
}  // namespace platform

using CFSocketRef = platform::DescriptorWatch*;
using CFSocketCallBackType = unsigned long;
using CFDataRef = const void*;
using EventRef = platform::Event*;
