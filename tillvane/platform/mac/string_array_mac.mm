#include <tillvane/platform/string_array.h>

#include <tillvane/platform/mac/autorelease_pool_mac.h>
#include <tillvane/platform/mac/foundation_text_mac.h>

namespace platform {

LPlatformStringArray* CreateStringArray() { return [[NSMutableArray alloc] init]; }

void ReleaseStringArray(LPlatformStringArray* array) { [array release]; }

void AppendString(LPlatformStringArray* array, std::string_view text) {
  const AutoreleasePool pool;
  NSString* const native = FoundationText(text);
  if (native != nil) [array addObject:native];
}

bool ContainsString(LPlatformStringArray* array, std::string_view text) {
  const AutoreleasePool pool;
  NSString* const native = FoundationText(text);
  return native != nil && [array containsObject:native] != NO;
}

void RemoveString(LPlatformStringArray* array, std::string_view text) {
  const AutoreleasePool pool;
  NSString* const native = FoundationText(text);
  if (native != nil) [array removeObject:native];
}

std::vector<std::string> StringsOf(LPlatformStringArray* array) {
  std::vector<std::string> texts;
  for (NSUInteger i = 0; i < [array count]; ++i) texts.push_back(PlainText([array objectAtIndex:i]));
  return texts;
}

std::string TextOfString(LPlatformString* string) { return PlainText(string); }

}  // namespace platform
