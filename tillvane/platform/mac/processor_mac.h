#pragma once

namespace platform {

/// Whether the processor has what the kernel calls so, such as hw.optional.arm64. What the kernel does not know is not
/// there.
bool HasProcessorFeature(const char* name);

}  // namespace platform
