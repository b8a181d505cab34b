#pragma once

/// \file
/// Which locale the user wants. Identifiers and names are ASCII. To be called while no other thread uses or sets the
/// process's locale or its environment.

#include <string>

namespace platform {

/// The user's language and country, such as en_US, maybe with more behind them; empty when the user has not said.
///
/// This is the whole answer: where a system has a second place for it, such as a preference, the backend asks there
/// too. Linux has none but the environment.
std::string UserLocaleIdentifier();

/// Sets all categories of the process's locale to the user's. What the system does not have it leaves as it was.
/// \param identifier the beginning of what UserLocaleIdentifier() answers; empty for what the environment says
void SetProcessLocale(const char* identifier);

}  // namespace platform
