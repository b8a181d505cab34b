#pragma once

#include <string>

/// A folder that is every account's home in this program: GNUstep looks there for the defaults, whatever $HOME says.
std::string MadeUpHome();
