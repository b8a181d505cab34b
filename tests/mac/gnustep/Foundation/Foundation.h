#pragma once

#include_next <Foundation/Foundation.h>

#import <Foundation/NSDebug.h>

/// \file
/// GNUstep's Foundation as the library's files see it: what it lacks of file URLs is played by bookmark_double.mm.

enum { NSURLBookmarkCreationWithSecurityScope = 1 << 11 };
typedef NSUInteger NSURLBookmarkCreationOptions;

@interface NSURL (Bookmarks)

+ (id)URLByResolvingBookmarkData:(NSData*)data
                         options:(NSURLBookmarkResolutionOptions)options
                   relativeToURL:(NSURL*)base
             bookmarkDataIsStale:(BOOL*)stale
                           error:(NSError**)error;
- (NSData*)bookmarkDataWithOptions:(NSURLBookmarkCreationOptions)options
    includingResourceValuesForKeys:(NSArray*)keys
                     relativeToURL:(NSURL*)base
                             error:(NSError**)error;
- (BOOL)startAccessingSecurityScopedResource;
- (void)stopAccessingSecurityScopedResource;

@end
