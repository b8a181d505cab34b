#include <tillvane/platform/mac/money_mac.h>

namespace platform {

NSString* NewMoneyText(NSDecimalNumber* amount, NSLocale* locale) {
  NSNumberFormatter* const formatter = [[NSNumberFormatter alloc] init];
  [formatter setFormatterBehavior:NSNumberFormatterBehavior10_4];
  [formatter setNumberStyle:NSNumberFormatterCurrencyStyle];
  [formatter setLocale:locale];
  NSString* const text = [[formatter stringFromNumber:amount] copy];
  [formatter release];
  return text;
}

}  // namespace platform
