#pragma once

#import <Foundation/Foundation.h>

namespace platform {

/// An amount as people of a locale write it, in the locale's currency. \return the caller's to release; nil without one
NSString* NewMoneyText(NSDecimalNumber* amount, NSLocale* locale);

}  // namespace platform
