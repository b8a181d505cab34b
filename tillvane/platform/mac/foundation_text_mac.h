#pragma once

#import <Foundation/Foundation.h>

#include <string>
#include <string_view>

namespace platform {

/// A text of Foundation, which the caller's pool releases. \return nil for what is not UTF-8
NSString* FoundationText(std::string_view text);

/// A text of Foundation as UTF-8. \return empty for nil, and for one that cannot be written so
std::string PlainText(NSString* text);

}  // namespace platform
