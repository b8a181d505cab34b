#include <tillvane/platform/mac/money_mac.h>
#include <tillvane/platform/money.h>

#include <algorithm>
#include <string_view>

#include <tillvane/platform/mac/autorelease_pool_mac.h>

namespace platform {

namespace {

NSString* Text(const std::string& utf8) { return [NSString stringWithUTF8String:utf8.c_str()]; }

/// Foundation would take the digits before the first sign that it does not know.
bool IsAmount(std::string_view text) {
  return text.find_first_not_of("0123456789.") == text.npos && text.find_first_of("0123456789") != text.npos &&
         std::count(text.begin(), text.end(), '.') <= 1;
}

bool IsCurrency(std::string_view code) {
  return code.size() == 3 && code.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ") == code.npos;
}

/// The locale with another currency; nil where the system does not know the locale.
NSLocale* LocaleWithCurrency(const std::string& locale, const std::string& currency) {
  NSString* const identifier = Text(locale);
  if (identifier == nil || ![[NSLocale availableLocaleIdentifiers] containsObject:identifier]) return nil;
  NSString* const with_currency = [identifier stringByAppendingFormat:@"@currency=%s", currency.c_str()];
  return [[[NSLocale alloc] initWithLocaleIdentifier:with_currency] autorelease];
}

}  // namespace

NSString* NewMoneyText(NSDecimalNumber* amount, NSLocale* locale) {
  NSNumberFormatter* const formatter = [[NSNumberFormatter alloc] init];
  [formatter setFormatterBehavior:NSNumberFormatterBehavior10_4];
  [formatter setNumberStyle:NSNumberFormatterCurrencyStyle];
  [formatter setLocale:locale];
  NSString* const text = [[formatter stringFromNumber:amount] copy];
  [formatter release];
  return text;
}

std::string FormatMoney(const std::string& amount, const std::string& currency, const std::string& locale) {
  const AutoreleasePool pool;
  NSLocale* const with_currency = IsAmount(amount) && IsCurrency(currency) ? LocaleWithCurrency(locale, currency) : nil;
  if (with_currency == nil) return amount + ' ' + currency;
  NSString* const text =
      [NewMoneyText([NSDecimalNumber decimalNumberWithString:Text(amount)], with_currency) autorelease];
  return [text length] > 0 ? [text UTF8String] : amount + ' ' + currency;
}

}  // namespace platform
