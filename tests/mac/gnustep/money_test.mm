#include <tillvane/platform/mac/money_mac.h>

#include <string>

#include <gtest/gtest.h>

#include <tillvane/platform/mac/autorelease_pool_mac.h>

namespace {

using platform::AutoreleasePool;

NSString* NewText(const char* amount, const char* locale) {
  const AutoreleasePool pool;
  NSLocale* const known =
      [[[NSLocale alloc] initWithLocaleIdentifier:[NSString stringWithUTF8String:locale]] autorelease];
  return platform::NewMoneyText([NSDecimalNumber decimalNumberWithString:[NSString stringWithUTF8String:amount]],
                                known);
}

/// Which no-break space stands before a currency is the system's choice.
std::string WithPlainSpaces(std::string text) {
  for (const std::string space : {"\u00A0", "\u202F"}) {
    for (std::size_t at; (at = text.find(space)) != std::string::npos;) text.replace(at, space.size(), " ");
  }
  return text;
}

TEST(MoneyOfFoundation, IsWrittenAsPeopleOfTheLocaleDo) {
  const AutoreleasePool pool;
  const struct {
    const char *amount, *locale, *text;
  } cases[] = {
      {"4.99", "en_US@currency=USD", "$4.99"}, {"4.99", "de_DE@currency=EUR", "4,99 €"},
      {"0.1", "de_DE@currency=EUR", "0,10 €"}, {"4.99", "ja_JP@currency=JPY", "￥5"},
      {"0", "en_US@currency=USD", "$0.00"},    {"1234.5", "de_DE@currency=EUR", "1.234,50 €"},
  };
  for (const auto& one : cases) {
    NSString* const text = [NewText(one.amount, one.locale) autorelease];
    EXPECT_EQ(WithPlainSpaces([text UTF8String]), one.text) << one.amount << ' ' << one.locale;
  }
}

TEST(MoneyOfFoundation, ATextIsTheCallers) {
  NSString* const text = NewText("4.99", "en_US@currency=USD");
  EXPECT_EQ([text retainCount], 1u);
  EXPECT_TRUE([text isEqualToString:@"$4.99"]);
  [text release];
  EXPECT_EQ(GSDebugAllocationCount([NSNumberFormatter class]), 0);
}

}  // namespace
