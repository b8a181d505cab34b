#pragma once

#import <Foundation/Foundation.h>

/// What GNUstep lacks of file URLs, for tests: bookmarks that follow a renamed file within its folder, and a count of
/// the accesses under way. Main thread.

/// How many accesses to this file were started and not yet stopped.
int AccessesUnderWay(NSURL* url);
