#pragma once

#import <Foundation/NSString.h>

@interface NSString (NSStringPathExtensions)
@property(readonly) NSString* lastPathComponent;
@property(readonly) NSString* stringByDeletingPathExtension;
@end
