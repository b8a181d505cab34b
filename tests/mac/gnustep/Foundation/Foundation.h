#pragma once

#include_next <Foundation/Foundation.h>

#import <Foundation/NSDebug.h>

/// \file
/// GNUstep's Foundation as the library's files see it.
