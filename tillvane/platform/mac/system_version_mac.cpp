#include <tillvane/platform/system_version.h>

#include <CoreServices/CoreServices.h>

#include <tillvane/platform/mac/processor_mac.h>

namespace platform {

namespace {

unsigned int Ask(OSType selector) {
  SInt32 answer = 0;
#pragma clang diagnostic push
  // What is named instead is an Objective-C object's, with the same two numbers.
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
  const OSErr error = Gestalt(selector, &answer);
#pragma clang diagnostic pop
  return error == noErr ? static_cast<unsigned int>(answer) : 0;
}

}  // namespace

SystemVersion CurrentSystemVersion() { return {Ask(gestaltSystemVersionMajor), Ask(gestaltSystemVersionMinor)}; }

bool IsSystem64Bit() { return HasProcessorFeature("hw.optional.x86_64") || HasProcessorFeature("hw.optional.arm64"); }

}  // namespace platform
