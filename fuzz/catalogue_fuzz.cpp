#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <string_view>

#include <tillvane/platform/linux/money_linux.h>
#include <tillvane/platform/linux/store_catalogue_linux.h>
#include <tillvane/platform/money.h>

#include "require.h"

namespace {

using fuzz::Require;
using platform::StoreCatalogue;

bool IsDecimal(std::string_view text) {
  const auto is_digit = [](char c) { return c >= '0' && c <= '9'; };
  std::size_t points = 0;
  for (const char c : text) {
    if (!is_digit(c) && (c != '.' || ++points > 1)) return false;
  }
  return !text.empty() && text.size() <= 30 && is_digit(text.front()) && is_digit(text.back());
}

void CheckCatalogue(const StoreCatalogue& catalogue) {
  std::set<std::string> identifiers;
  for (const auto& product : catalogue.products) {
    Require(!product.identifier.empty(), "an identifier is not empty");
    Require(identifiers.insert(product.identifier).second, "an identifier is one product's");
    Require(IsDecimal(product.price), "a price is decimal text");
  }
  const std::string currency = platform::CurrencyOfCountry(catalogue.storefront);
  Require(currency.size() == 3, "the storefront has a currency");
  Require(platform::IsLocaleKnown(catalogue.locale), "the locale is known");
  for (const auto& product : catalogue.products) {
    const std::string text = platform::FormatMoney(product.price, currency, catalogue.locale);
    Require(!text.empty() && text != product.price + ' ' + currency, "a price can be shown");
  }
}

void CheckFailure(const StoreCatalogue& catalogue, const std::string& error) {
  Require(error.starts_with("file:"), "an error names the file");
  Require(error.find_first_of("\r\n") == std::string::npos, "an error is one line");
  Require(error.size() < 300, "an error is short");
  Require(catalogue.products.empty(), "the catalogue of a bad file has no products");
  const StoreCatalogue none;
  Require(catalogue.locale == none.locale && catalogue.storefront == none.storefront && !catalogue.purchase_fails &&
              !catalogue.products_request_fails && !catalogue.ask_to_buy && !catalogue.disable_dialogs,
          "the catalogue of a bad file has no settings");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  StoreCatalogue catalogue{{{"left.over", "1", true}}, "de_DE", "DEU", true, true, true, true};
  std::string error;
  if (platform::ParseStoreCatalogue(text, "file", &catalogue, &error)) {
    Require(error.empty(), "a good file has no error");
    CheckCatalogue(catalogue);
  } else {
    CheckFailure(catalogue, error);
  }
  return 0;
}
