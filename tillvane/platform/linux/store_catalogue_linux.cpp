#include <tillvane/platform/linux/store_catalogue_linux.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <set>
#include <utility>

#include <tillvane/platform/linux/json_reader_linux.h>
#include <tillvane/platform/linux/money_linux.h>
#include <tillvane/platform/linux/small_file_linux.h>

// The part of the format that is read; everything else in a file is passed over, and a null counts as absent.
//
//   catalogue = { "version": { "major": 1 to 5 }, "settings": settings,
//                 "products": [ product… ], "nonRenewingSubscriptions": [ product… ] }
//   product   = { "productID": text, "displayPrice": decimal text, "type": text }
//   settings  = { "_locale": text, "_storefront": text, "_storeKitErrors": [ error… ],
//                 "_failTransactionsEnabled": flag, "_askToBuyEnabled": flag, "_disableDialogs": flag }
//   error     = { "name": text, "enabled": flag }

namespace platform {

namespace {

constexpr std::size_t kMaximumSize = std::size_t{1024} * 1024;
constexpr std::size_t kMaximumDepth = 32;
constexpr std::size_t kMaximumPriceLength = 30;
constexpr std::size_t kMaximumQuotation = 60;
constexpr double kNewestVersion = 5;

bool IsDigits(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

/// Digits, then perhaps a point and digits.
bool IsDecimal(std::string_view text) {
  const std::size_t point = text.find('.');
  if (point == std::string_view::npos) return IsDigits(text);
  return IsDigits(text.substr(0, point)) && IsDigits(text.substr(point + 1));
}

/// Text of the file for a message; long text is cut between two characters.
std::string Quoted(std::string_view text) {
  if (text.size() <= kMaximumQuotation) return '"' + std::string(text) + '"';
  std::size_t size = kMaximumQuotation;
  while ((static_cast<unsigned char>(text[size]) & 0xC0) == 0x80) --size;
  return '"' + std::string(text.substr(0, size)) + "…\"";
}

/// An error stays one line, whatever a file's name or a value in it holds.
std::string OneLine(std::string text) {
  const auto is_control = [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; };
  std::replace_if(text.begin(), text.end(), is_control, '?');
  return text;
}

const char* NameOf(JsonKind kind) {
  constexpr const char* kNames[] = {"an object", "a list", "text", "true or false", "a number", "null"};
  return kNames[static_cast<int>(kind)];
}

/// Builds a catalogue from what a JSON text holds, keeping nothing but the catalogue and the way down to where it is.
class CatalogueReader final : public JsonListener {
 public:
  StoreCatalogue& Result() { return catalogue_; }

  bool Begin(JsonKind kind, std::size_t offset) override;
  bool Key(std::string key) override;
  bool Take(JsonValue value) override;
  bool End() override;

 private:
  enum class Place { kFile, kCatalogue, kVersion, kProducts, kProduct, kSettings, kErrors, kError, kPassedOver };

  /// What may stand in a place, and what becomes of it.
  struct Rule {
    Place parent;
    std::string_view key;  ///< empty for a list's entry
    JsonKind kind;
    Place inside;                               ///< of an object or a list
    bool (CatalogueReader::*take)(JsonValue&);  ///< of any other kind
  };
  static const Rule kRules[];

  struct Level {
    Place place;
    std::size_t offset;     ///< where the object or the list begins
    unsigned int seen = 0;  ///< a bit for every rule that has been used
  };

  const Rule* FindRule() const;
  bool Check(const Rule& rule, JsonKind kind, std::size_t offset);

  bool TakeVersion(JsonValue& value);
  bool TakeIdentifier(JsonValue& value);
  bool TakePrice(JsonValue& value);
  bool TakeType(JsonValue& value);
  bool TakeLocale(JsonValue& value);
  bool TakeStorefront(JsonValue& value);
  bool TakeFailTransactions(JsonValue& value);
  bool TakeAskToBuy(JsonValue& value);
  bool TakeDisableDialogs(JsonValue& value);
  bool TakeErrorName(JsonValue& value);
  bool TakeErrorEnabled(JsonValue& value);
  bool EndProduct(const Level& level);
  bool EndError();

  std::vector<Level> levels_;
  std::string key_;  ///< of the value that comes; empty in a list
  CatalogueProduct product_;
  std::set<std::string> identifiers_;
  std::string error_name_;
  bool error_enabled_ = false;
  StoreCatalogue catalogue_;
};

using Reader = CatalogueReader;
const Reader::Rule Reader::kRules[] = {
    {Place::kFile, "", JsonKind::kObject, Place::kCatalogue, nullptr},
    {Place::kCatalogue, "version", JsonKind::kObject, Place::kVersion, nullptr},
    {Place::kVersion, "major", JsonKind::kNumber, {}, &Reader::TakeVersion},
    {Place::kCatalogue, "products", JsonKind::kList, Place::kProducts, nullptr},
    {Place::kCatalogue, "nonRenewingSubscriptions", JsonKind::kList, Place::kProducts, nullptr},
    {Place::kProducts, "", JsonKind::kObject, Place::kProduct, nullptr},
    {Place::kProduct, "productID", JsonKind::kText, {}, &Reader::TakeIdentifier},
    {Place::kProduct, "displayPrice", JsonKind::kText, {}, &Reader::TakePrice},
    {Place::kProduct, "type", JsonKind::kText, {}, &Reader::TakeType},
    {Place::kCatalogue, "settings", JsonKind::kObject, Place::kSettings, nullptr},
    {Place::kSettings, "_locale", JsonKind::kText, {}, &Reader::TakeLocale},
    {Place::kSettings, "_storefront", JsonKind::kText, {}, &Reader::TakeStorefront},
    {Place::kSettings, "_failTransactionsEnabled", JsonKind::kFlag, {}, &Reader::TakeFailTransactions},
    {Place::kSettings, "_askToBuyEnabled", JsonKind::kFlag, {}, &Reader::TakeAskToBuy},
    {Place::kSettings, "_disableDialogs", JsonKind::kFlag, {}, &Reader::TakeDisableDialogs},
    {Place::kSettings, "_storeKitErrors", JsonKind::kList, Place::kErrors, nullptr},
    {Place::kErrors, "", JsonKind::kObject, Place::kError, nullptr},
    {Place::kError, "name", JsonKind::kText, {}, &Reader::TakeErrorName},
    {Place::kError, "enabled", JsonKind::kFlag, {}, &Reader::TakeErrorEnabled},
};

const CatalogueReader::Rule* CatalogueReader::FindRule() const {
  const Place parent = levels_.empty() ? Place::kFile : levels_.back().place;
  const auto fits = [&](const Rule& rule) { return rule.parent == parent && rule.key == key_; };
  const Rule* rule = std::find_if(std::begin(kRules), std::end(kRules), fits);
  return rule == std::end(kRules) ? nullptr : rule;
}

/// May a value of this kind stand here? A key that is read may be in its object once: of two prices either could be the
/// one that is meant.
bool CatalogueReader::Check(const Rule& rule, JsonKind kind, std::size_t offset) {
  static_assert(std::size(kRules) <= 32, "Level::seen has a bit for each");
  if (rule.kind != kind) {
    return Fail(offset, (rule.key.empty() ? "this value" : Quoted(rule.key)) + " should be " + NameOf(rule.kind));
  }
  if (rule.key.empty()) return true;
  const unsigned int bit = 1U << (&rule - kRules);
  if ((levels_.back().seen & bit) != 0) return Fail(offset, "a second " + Quoted(rule.key) + " in one object");
  levels_.back().seen |= bit;
  return true;
}

bool CatalogueReader::Begin(JsonKind kind, std::size_t offset) {
  const Rule* rule = FindRule();
  if (rule != nullptr && !Check(*rule, kind, offset)) return false;
  levels_.push_back({rule == nullptr ? Place::kPassedOver : rule->inside, offset});
  key_.clear();
  return true;
}

bool CatalogueReader::Key(std::string key) {
  key_ = std::move(key);
  return true;
}

bool CatalogueReader::Take(JsonValue value) {
  const Rule* rule = FindRule();
  if (rule == nullptr || (value.kind == JsonKind::kNull && !levels_.empty())) return true;
  return Check(*rule, value.kind, value.offset) && (this->*rule->take)(value);
}

bool CatalogueReader::End() {
  const Level level = levels_.back();
  levels_.pop_back();
  key_.clear();
  if (level.place == Place::kProduct) return EndProduct(level);
  return level.place != Place::kError || EndError();
}

bool CatalogueReader::TakeVersion(JsonValue& value) {
  if (value.number >= 1 && value.number < kNewestVersion + 1) return true;
  return Fail(value.offset, "a version of the format that is not known: 1 to 5 are");
}

bool CatalogueReader::TakeIdentifier(JsonValue& value) {
  if (value.text.empty()) return Fail(value.offset, "\"productID\" is empty");
  if (!identifiers_.insert(value.text).second) {
    return Fail(value.offset, "a second product with the \"productID\" " + Quoted(value.text));
  }
  product_.identifier = std::move(value.text);
  return true;
}

bool CatalogueReader::TakePrice(JsonValue& value) {
  if (value.text.size() > kMaximumPriceLength || !IsDecimal(value.text)) {
    return Fail(value.offset,
                "\"displayPrice\" should be a decimal number such as \"4.99\", not " + Quoted(value.text));
  }
  product_.price = std::move(value.text);
  return true;
}

bool CatalogueReader::TakeType(JsonValue& value) {
  product_.non_consumable = value.text == "NonConsumable";
  return true;
}

bool CatalogueReader::TakeLocale(JsonValue& value) {
  if (!IsLocaleKnown(value.text)) {
    return Fail(value.offset, "\"_locale\" names no known locale: " + Quoted(value.text));
  }
  catalogue_.locale = std::move(value.text);
  return true;
}

bool CatalogueReader::TakeStorefront(JsonValue& value) {
  if (CurrencyOfCountry(value.text).empty()) {
    return Fail(value.offset, "\"_storefront\" should be a country's three-letter code, not " + Quoted(value.text));
  }
  catalogue_.storefront = std::move(value.text);
  return true;
}

bool CatalogueReader::TakeFailTransactions(JsonValue& value) {
  // An error in the list may have said so already.
  catalogue_.purchase_fails = catalogue_.purchase_fails || value.flag;
  return true;
}

bool CatalogueReader::TakeAskToBuy(JsonValue& value) {
  catalogue_.ask_to_buy = value.flag;
  return true;
}

bool CatalogueReader::TakeDisableDialogs(JsonValue& value) {
  catalogue_.disable_dialogs = value.flag;
  return true;
}

bool CatalogueReader::TakeErrorName(JsonValue& value) {
  error_name_ = std::move(value.text);
  return true;
}

bool CatalogueReader::TakeErrorEnabled(JsonValue& value) {
  error_enabled_ = value.flag;
  return true;
}

bool CatalogueReader::EndProduct(const Level& level) {
  if (product_.identifier.empty()) return Fail(level.offset, "this product has no \"productID\"");
  catalogue_.products.push_back(std::exchange(product_, {}));
  return true;
}

bool CatalogueReader::EndError() {
  const std::string name = std::exchange(error_name_, {});
  if (!std::exchange(error_enabled_, false)) return true;
  if (name == "Load Products") catalogue_.products_request_fails = true;
  if (name == "Purchase") catalogue_.purchase_fails = true;
  return true;
}

}  // namespace

bool ParseStoreCatalogue(std::string_view text, const std::string& file, StoreCatalogue* catalogue,
                         std::string* error) {
  *catalogue = {};
  if (text.size() > kMaximumSize) {
    *error = OneLine(file + ": larger than 1 MiB");
    return false;
  }
  CatalogueReader reader;
  if (!ReadJson(text, kMaximumDepth, reader)) {
    *error = OneLine(file + ':' + PlaceInText(text, reader.ErrorOffset()) + ": " + reader.Error());
    return false;
  }
  *catalogue = std::move(reader.Result());
  return true;
}

bool LoadStoreCatalogue(const std::string& path, StoreCatalogue* catalogue, std::string* error) {
  *catalogue = {};
  std::string text;
  if (const std::string reason = ReadSmallFile(path, kMaximumSize, &text); !reason.empty()) {
    *error = OneLine(path + ": " + reason);
    return false;
  }
  return ParseStoreCatalogue(text, path, catalogue, error);
}

}  // namespace platform
