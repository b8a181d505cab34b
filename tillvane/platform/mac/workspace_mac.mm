#include <tillvane/platform/workspace.h>

#import <AppKit/AppKit.h>

#include <tillvane/platform/mac/autorelease_pool_mac.h>
#include <tillvane/platform/mac/core_foundation_mac.h>

namespace platform {

bool RevealFile(const char* path) {
  const AutoreleasePool pool;
  NSString* const text = [NSString stringWithUTF8String:path];
  // What Foundation is asked to make of no text raises an exception.
  if ([text length] == 0) return false;
  return [[NSWorkspace sharedWorkspace] selectFile:[[NSURL fileURLWithPath:text] path] inFileViewerRootedAtPath:@""];
}

// By its identifier, which has outlived its name and two of its places.
OSStatus OpenAddressBook() {
  const OwnedObject<CFArrayRef> applications(
      LSCopyApplicationURLsForBundleIdentifier(CFSTR("com.apple.AddressBook"), nullptr));
  if (applications == nullptr || CFArrayGetCount(applications.get()) == 0) return kLSApplicationNotFoundErr;
  const auto first = static_cast<CFURLRef>(CFArrayGetValueAtIndex(applications.get(), 0));
  return LSOpenCFURLRef(first, nullptr);
}

}  // namespace platform
