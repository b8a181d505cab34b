#pragma once

#include <string>

namespace platform {

// What a catalogue file says of money. All text is UTF-8. Any thread.

/// The currency that is used in a country.
/// \param country ISO 3166 alpha-3, for example "USA"
/// \return the ISO 4217 code, empty when the country is unknown
std::string CurrencyOfCountry(const std::string& country);

/// Is this a locale that the system knows by its language?
bool IsLocaleKnown(const std::string& locale);

}  // namespace platform
