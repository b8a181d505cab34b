#include <tillvane/platform/linux/money_linux.h>
#include <tillvane/platform/money.h>

#include <gtest/gtest.h>
#include <unistd.h>

#include <clocale>
#include <cstdlib>
#include <string>

namespace {

using platform::CurrencyOfCountry;
using platform::FormatMoney;
using platform::IsLocaleKnown;

/// Which no-break space ICU puts before a currency changes with its version.
std::string WithPlainSpaces(std::string text) {
  for (const std::string space : {"\u00A0", "\u202F"}) {
    for (std::size_t at; (at = text.find(space)) != std::string::npos;) text.replace(at, space.size(), " ");
  }
  return text;
}

TEST(Money, CurrencyOfCountry) {
  const struct {
    std::string country, currency;
  } cases[] = {
      {"USA", "USD"}, {"DEU", "EUR"}, {"JPN", "JPY"}, {"CHE", "CHF"}, {"CHN", "CNY"}, {"ROU", "RON"}, {"GBR", "GBP"},
      {"BGR", "BGN"}, {"PAN", "PAB"}, {"MDA", "MDL"}, {"SRB", "RSD"}, {"TUR", "TRY"}, {"BRA", "BRL"}, {"IND", "INR"},
  };
  for (const auto& c : cases) EXPECT_EQ(CurrencyOfCountry(c.country), c.currency) << c.country;
}

TEST(Money, WhatIsNoCountryOfTodayHasNoCurrency) {
  for (const std::string country : {"", "usa", "Usa", "US", "U", "USAX", "XXX", "ZZZ", "!!!", "001", "USD", "   ",
                                    "SUN", "YUG", "DDR", "ATA", "de_DE", "U\nA"}) {
    EXPECT_EQ(CurrencyOfCountry(country), "") << country;
  }
  EXPECT_EQ(CurrencyOfCountry(std::string("USA\0", 4)), "");
  EXPECT_EQ(CurrencyOfCountry(std::string(100'000, 'U')), "");
}

TEST(Money, Format) {
  const struct {
    std::string amount, currency, locale, text;
  } cases[] = {
      {"4.99", "USD", "en_US", "$4.99"},        {"4.99", "EUR", "de_DE", "4,99 €"},
      {"4.99", "JPY", "ja_JP", "￥5"},          {"4.99", "CHF", "fr_CH", "4.99 CHF"},
      {"4.99", "CNY", "en_US", "CN¥4.99"},      {"4.99", "RON", "ro_RO", "4,99 RON"},
      {"0", "USD", "en_US", "$0.00"},           {"0.10", "USD", "en_US", "$0.10"},
      {"0.1", "EUR", "de_DE", "0,10 €"},        {"0.004", "USD", "en_US", "$0.00"},
      {"004.99", "USD", "en_US", "$4.99"},      {"1234.5", "EUR", "de_DE", "1.234,50 €"},
      {"1.2345", "KWD", "en_US", "KWD 1.234"},  {"4.99", "USD", "en-US", "$4.99"},
      {"4.99", "EUR", "de_DE.UTF-8", "4,99 €"}, {"4.99", "EUR", "de_DE@currency=JPY", "4,99 €"},
      {"4.99", "ABC", "en_US", "ABC 4.99"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(WithPlainSpaces(FormatMoney(c.amount, c.currency, c.locale)), c.text)
        << c.amount << ' ' << c.currency << ' ' << c.locale;
  }
}

TEST(Money, LargeAmountsKeepEveryDigit) {
  EXPECT_EQ(FormatMoney("9007199254740993.01", "USD", "en_US"), "$9,007,199,254,740,993.01");
  EXPECT_EQ(FormatMoney("123456789012345678901234567.89", "USD", "en_US"), "$123,456,789,012,345,678,901,234,567.89");
  EXPECT_EQ(FormatMoney("123456789012345678901234567890", "JPY", "en_US"), "¥123,456,789,012,345,678,901,234,567,890");
}

TEST(Money, WhatCannotBeFormattedStaysReadable) {
  const struct {
    std::string amount, currency, locale;
  } cases[] = {
      {"4.99", "USD", "xx_YY"},
      {"4.99", "USD", ""},
      {"4.99", "USD", "C"},
      {"4.99", "", "en_US"},
      {"4.99", "US", "en_US"},
      {"", "USD", "en_US"},
      {"abc", "USD", "en_US"},
      {"1.2.3", "USD", "en_US"},
      {"NaN", "USD", "en_US"},
      {"1e2", "USD", "en_US"},
      {"1E999999999", "USD", "en_US"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(FormatMoney(c.amount, c.currency, c.locale), c.amount + ' ' + c.currency)
        << c.amount << ' ' << c.currency << ' ' << c.locale;
  }
}

TEST(Money, KnownLocales) {
  for (const std::string locale :
       {"en_US", "de_DE", "ja_JP", "fr_CH", "ro_RO", "en", "en-US", "de_DE.UTF-8", "zh_Hans_CN", "zh-Hant-TW", "no_NO",
        "nb", "iw_IL", "sr@latin", "de_DE@currency=JPY", "en_ZZ"}) {
    EXPECT_TRUE(IsLocaleKnown(locale)) << locale;
  }
}

TEST(Money, UnknownLocales) {
  for (const std::string locale : {"", "xx_YY", "english", "C", "POSIX", "root", "und", "und_US", "_US", "en US",
                                   "en_!!!", "en/US", "\xFF", "1", "@", "en_US\n", "ro_RO@numbers=nonsense"}) {
    EXPECT_FALSE(IsLocaleKnown(locale)) << locale;
  }
  EXPECT_FALSE(IsLocaleKnown(std::string("en\0US", 5)));
  EXPECT_FALSE(IsLocaleKnown("ro_" + std::string(36, 'P') + std::string(106, '@') + "PPPPPPPPPRO"));
  EXPECT_FALSE(IsLocaleKnown("en_" + std::string(100'000, 'U')));
  EXPECT_FALSE(IsLocaleKnown(std::string(100'000, 'e')));
}

/// ICU takes the process's own locale from these variables the first time that it needs it.
class MoneyInForeignEnvironment : public testing::TestWithParam<const char*> {
 protected:
  static std::string Answers() {
    return CurrencyOfCountry("USA") + FormatMoney("1234.5", "USD", "en_US") + FormatMoney("1234.5", "EUR", "tlh") +
           FormatMoney("1234.5", "EUR", "xx_YY") + (IsLocaleKnown("tlh") ? "known" : "unknown");
  }
};

TEST_P(MoneyInForeignEnvironment, AnswersDoNotDependOnIt) {
  // A process of its own: the variables must stand before ICU is first used.
  const auto child = [] {
    setenv("LC_ALL", GetParam(), 1);
    setenv("LANG", GetParam(), 1);
    setlocale(LC_ALL, "");
    _exit(Answers() == "USD$1,234.501234.5 EUR1234.5 EURunknown" ? 0 : 1);
  };
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(child(), testing::ExitedWithCode(0), "");
}

INSTANTIATE_TEST_SUITE_P(Locales, MoneyInForeignEnvironment,
                         testing::Values("C", "de_DE.UTF-8", "ar_EG.UTF-8", "fr_FR.UTF-8", "nonsense"));

}  // namespace
