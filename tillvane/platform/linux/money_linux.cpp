#include <tillvane/platform/linux/money_linux.h>
#include <tillvane/platform/money.h>

#include <unicode/locid.h>
#include <unicode/numberformatter.h>
#include <unicode/ucurr.h>
#include <unicode/uenum.h>
#include <unicode/uloc.h>

#include <string_view>

namespace platform {

namespace {

/// The alpha-2 code of a country that exists today, null for anything else.
const char* TwoLetterCode(const std::string& country) {
  for (const char* const* code = uloc_getISOCountries(); *code != nullptr; ++code) {
    if (country == uloc_getISO3Country((std::string("und_") + *code).c_str())) return *code;
  }
  return nullptr;
}

/// Does ICU hold data for the language? For others it would use the data of the process's own locale.
bool HasLanguageData(std::string_view language) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::LocalUEnumerationPointer locales(uloc_openAvailableByType(ULOC_AVAILABLE_WITH_LEGACY_ALIASES, &status));
  for (;;) {
    const char* locale = uenum_next(locales.getAlias(), nullptr, &status);
    if (locale == nullptr || U_FAILURE(status)) return false;
    if (language == locale) return true;
  }
}

/// \return false for a name that is none (ICU gives it no language), or of a language that ICU has no data for
bool FindLocale(const std::string& name, icu::Locale* locale) {
  constexpr const char* kAllowed = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-.@=;";
  if (name.find_first_not_of(kAllowed) != std::string::npos) return false;
  *locale = icu::Locale(name.c_str());
  return HasLanguageData(locale->getLanguage());
}

/// A formatter is made anew each time: that takes some 15 µs, and a price is asked for once.
bool Format(const std::string& amount, const std::string& currency, const icu::Locale& locale, std::string* text) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::number::FormattedNumber number = icu::number::NumberFormatter::withLocale(locale)
                                                  .unit(icu::CurrencyUnit(icu::StringPiece(currency), status))
                                                  .formatDecimal(amount, status);
  number.toString(status).toUTF8String(*text);
  return U_SUCCESS(status) && !text->empty();
}

}  // namespace

std::string CurrencyOfCountry(const std::string& country) {
  const char* code = TwoLetterCode(country);
  if (code == nullptr) return {};
  UErrorCode status = U_ZERO_ERROR;
  UChar currency[4] = {};
  ucurr_forLocale((std::string("und_") + code).c_str(), currency, 4, &status);
  std::string text(currency, currency + 3);
  // ICU says XXX for a country without money of its own, Antarctica.
  return U_FAILURE(status) || text == "XXX" ? std::string() : text;
}

bool IsLocaleKnown(const std::string& locale) {
  icu::Locale found = icu::Locale::getRoot();
  std::string text;
  // ICU refuses some keywords only when it formats.
  return FindLocale(locale, &found) && Format("0", "USD", found, &text);
}

std::string FormatMoney(const std::string& amount, const std::string& currency, const std::string& locale) {
  // ICU would also read exponents, and write out as many digits as they ask for.
  const bool is_plain = amount.find_first_not_of("0123456789.") == std::string::npos;
  icu::Locale found = icu::Locale::getRoot();
  std::string text;
  if (is_plain && FindLocale(locale, &found) && Format(amount, currency, found, &text)) return text;
  return amount + ' ' + currency;
}

}  // namespace platform
