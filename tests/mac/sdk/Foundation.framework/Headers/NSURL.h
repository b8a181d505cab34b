#pragma once

#import <Foundation/NSArray.h>
#import <Foundation/NSData.h>
#import <Foundation/NSError.h>
#import <Foundation/NSString.h>

typedef NSUInteger NSURLBookmarkCreationOptions;
enum { NSURLBookmarkCreationWithSecurityScope = 1 << 11 };

typedef NSUInteger NSURLBookmarkResolutionOptions;
enum { NSURLBookmarkResolutionWithSecurityScope = 1 << 10 };

@interface NSURL : NSObject
@property(readonly, copy) NSString* path;
+ (instancetype)fileURLWithPath:(NSString*)path;
- (instancetype)initFileURLWithPath:(NSString*)path;
- (BOOL)startAccessingSecurityScopedResource;
- (void)stopAccessingSecurityScopedResource;
- (NSData*)bookmarkDataWithOptions:(NSURLBookmarkCreationOptions)options
    includingResourceValuesForKeys:(NSArray<NSString*>*)keys
                     relativeToURL:(NSURL*)base
                             error:(NSError**)error;
+ (instancetype)URLByResolvingBookmarkData:(NSData*)bookmark
                                   options:(NSURLBookmarkResolutionOptions)options
                             relativeToURL:(NSURL*)base
                       bookmarkDataIsStale:(BOOL*)stale
                                     error:(NSError**)error;
@end
