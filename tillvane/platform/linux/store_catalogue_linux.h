#pragma once

/// \file
/// The local store's catalogue. All text is UTF-8. Any thread.

#include <string>
#include <string_view>
#include <vector>

namespace platform {

/// One product of a catalogue.
struct CatalogueProduct {
  std::string identifier;       ///< never empty, and no other product's
  std::string price = "0";      ///< decimal text, "4.99"; digits and at most one point
  bool non_consumable = false;  ///< owned for ever once bought, so that it can be restored
};

/// What the local store sells, and how it is to behave: a `.storekit` file.
struct StoreCatalogue {
  std::vector<CatalogueProduct> products;
  std::string locale = "en_US";    ///< what prices are shown in
  std::string storefront = "USA";  ///< ISO 3166 alpha-3; the only source of the currency
  bool products_request_fails = false;
  bool purchase_fails = false;
  bool ask_to_buy = false;       ///< purchases wait for somebody else's approval
  bool disable_dialogs = false;  ///< purchases are approved without asking
};

/// Reads a catalogue from the text of a file.
/// \param file names the file in the error
/// \param error is set on failure only: one line, "FILE:LINE:COLUMN: what" where there is a place, else "FILE: what".
///        Lines and columns count from 1, columns in characters.
/// \return false, with `error` set and an empty catalogue
bool ParseStoreCatalogue(std::string_view text, const std::string& file, StoreCatalogue* catalogue, std::string* error);

/// Reads a catalogue file: a regular one of at most 1 MiB. Never waits for another process.
/// \return false, with `error` set and an empty catalogue
bool LoadStoreCatalogue(const std::string& path, StoreCatalogue* catalogue, std::string* error);

}  // namespace platform
