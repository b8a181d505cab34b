#pragma once

/// \file
/// Amounts of money as text, where a store speaks C++. All text is UTF-8; amounts are decimal text ("4.99"), never
/// binary fractions. Any thread.

#include <string>

namespace platform {

/// An amount in a currency as people of a locale write it, rounded to the currency's digits.
/// \param locale for example "de_DE"
/// \return the amount, a space and the currency's code when the system cannot do better; never empty
std::string FormatMoney(const std::string& amount, const std::string& currency, const std::string& locale);

}  // namespace platform
