#include <tillvane/platform/mac/foundation_text_mac.h>

#include <tillvane/platform/mac/autorelease_pool_mac.h>

namespace platform {

NSString* FoundationText(std::string_view text) {
  return [[[NSString alloc] initWithBytes:text.data() length:text.size() encoding:NSUTF8StringEncoding] autorelease];
}

std::string PlainText(NSString* text) {
  const AutoreleasePool pool;
  NSData* const bytes = [text dataUsingEncoding:NSUTF8StringEncoding allowLossyConversion:NO];
  std::string plain([bytes length], '\0');
  [bytes getBytes:plain.data() length:plain.size()];
  return plain;
}

}  // namespace platform
