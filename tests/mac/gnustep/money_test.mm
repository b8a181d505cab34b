#include <tillvane/platform/money.h>

#include <string>

#include <gtest/gtest.h>

#include <tillvane/platform/mac/autorelease_pool_mac.h>
#include <tillvane/platform/mac/money_mac.h>

namespace {

using platform::AutoreleasePool;
using platform::FormatMoney;

/// Which no-break space stands before a currency is the system's choice.
std::string WithPlainSpaces(std::string text) {
  for (const std::string space : {"\u00A0", "\u202F"}) {
    for (std::size_t at; (at = text.find(space)) != std::string::npos;) text.replace(at, space.size(), " ");
  }
  return text;
}

TEST(MoneyOfFoundation, IsWrittenAsPeopleOfTheLocaleDo) {
  const struct {
    std::string amount, currency, locale, text;
  } cases[] = {
      {"4.99", "USD", "en_US", "$4.99"}, {"4.99", "EUR", "de_DE", "4,99 €"},       {"0.1", "EUR", "de_DE", "0,10 €"},
      {"4.99", "JPY", "ja_JP", "￥5"},   {"1234.5", "EUR", "de_DE", "1.234,50 €"}, {"0", "USD", "en_US", "$0.00"},
  };
  for (const auto& one : cases) {
    EXPECT_EQ(WithPlainSpaces(FormatMoney(one.amount, one.currency, one.locale)), one.text)
        << one.amount << ' ' << one.currency << ' ' << one.locale;
  }
}

TEST(MoneyOfFoundation, WhatCannotBeWrittenStaysReadable) {
  const struct {
    std::string amount, currency, locale;
  } cases[] = {
      {"4.99", "USD", "xx_YY"}, {"4.99", "USD", ""},       {"4.99", "USD", "\xFF"}, {"4.99", "", "en_US"},
      {"4.99", "US", "en_US"},  {"4.99", "usd", "en_US"},  {"", "USD", "en_US"},    {".", "USD", "en_US"},
      {"abc", "USD", "en_US"},  {"1.2.3", "USD", "en_US"}, {"1e2", "USD", "en_US"}, {"NaN", "USD", "en_US"},
  };
  for (const auto& one : cases) {
    EXPECT_EQ(FormatMoney(one.amount, one.currency, one.locale), one.amount + ' ' + one.currency)
        << one.amount << ' ' << one.currency << ' ' << one.locale;
  }
}

TEST(MoneyOfFoundation, ATextIsTheCallers) {
  NSString* text = nil;
  {
    const AutoreleasePool pool;
    NSLocale* const locale = [[[NSLocale alloc] initWithLocaleIdentifier:@"en_US@currency=USD"] autorelease];
    text = platform::NewMoneyText([NSDecimalNumber decimalNumberWithString:@"4.99"], locale);
  }
  EXPECT_EQ([text retainCount], 1u);
  EXPECT_TRUE([text isEqualToString:@"$4.99"]);
  [text release];
  EXPECT_EQ(GSDebugAllocationCount([NSNumberFormatter class]), 0);
}

}  // namespace
