#import <Foundation/Foundation.h>
#include <unicode/ucurr.h>

#include <objc/runtime.h>

#include <algorithm>

#include <gtest/gtest.h>

#include <tillvane/platform/mac/autorelease_pool_mac.h>

/// \file
/// What GNUstep needs before a test runs, and what the sanitizers have to know of it.

// There with LeakSanitizer only.
extern "C" __attribute__((weak)) void __lsan_disable();
extern "C" __attribute__((weak)) void __lsan_enable();

namespace {

using StringFromNumber = NSString* (*)(id, SEL, NSNumber*);
StringFromNumber plain_string_from_number = nullptr;

/// GNUstep's own shows no fraction, whatever the currency.
NSString* StringWithTheCurrencysDigits(NSNumberFormatter* formatter, SEL selector, NSNumber* number) {
  unichar currency[4] = {};
  [[formatter currencyCode] getCharacters:currency
                                    range:NSMakeRange(0, std::min<NSUInteger>(3, [[formatter currencyCode] length]))];
  UErrorCode status = U_ZERO_ERROR;
  const int digits = ucurr_getDefaultFractionDigits(reinterpret_cast<const UChar*>(currency), &status);
  [formatter setMinimumFractionDigits:static_cast<NSUInteger>(digits)];
  [formatter setMaximumFractionDigits:static_cast<NSUInteger>(digits)];
  return plain_string_from_number(formatter, selector, number);
}

/// GNUstep makes its defaults and its number formats at their first use, and loses a little on the way. What its URLs
/// need it autoreleases, wherever somebody first names their class.
void MakeWhatIsMadeOnce() {
  if (__lsan_disable != nullptr) __lsan_disable();
  [NSURL class];
  [NSUserDefaults standardUserDefaults];
  [NSDecimalNumber decimalNumberWithString:@"1"];
  NSNumberFormatter* const formatter = [[[NSNumberFormatter alloc] init] autorelease];
  [formatter setLocale:[[[NSLocale alloc] initWithLocaleIdentifier:@"en_US"] autorelease]];
  [formatter stringFromNumber:[NSDecimalNumber one]];
  if (__lsan_enable != nullptr) __lsan_enable();
}

class GnustepEnvironment final : public testing::Environment {
  void SetUp() override {
    const platform::AutoreleasePool pool;
    const Method method = class_getInstanceMethod([NSNumberFormatter class], @selector(stringFromNumber:));
    plain_string_from_number = reinterpret_cast<StringFromNumber>(
        method_setImplementation(method, reinterpret_cast<IMP>(&StringWithTheCurrencysDigits)));
    MakeWhatIsMadeOnce();
    GSDebugAllocationActive(YES);
    // The run loop opens descriptors the first time that something is left for it; tests watch what stays open.
    [[[[NSObject alloc] init] autorelease] performSelectorOnMainThread:@selector(self) withObject:nil waitUntilDone:NO];
    [[NSRunLoop mainRunLoop] runMode:NSDefaultRunLoopMode beforeDate:[NSDate date]];
  }
};

const testing::Environment* const environment = testing::AddGlobalTestEnvironment(new GnustepEnvironment);

}  // namespace

// The sanitizers look for these.
#pragma GCC visibility push(default)
extern "C" {

/// The frames of libobjc cannot be followed by their frame pointers.
const char* __asan_default_options() { return "fast_unwind_on_malloc=0"; }

/// The runtime's own tables are never freed.
const char* __lsan_default_suppressions() { return "leak:libobjc.so\n"; }
}
#pragma GCC visibility pop
