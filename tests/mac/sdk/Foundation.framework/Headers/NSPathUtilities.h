#pragma once

#import <Foundation/NSArray.h>
#import <Foundation/NSString.h>

typedef NSUInteger NSSearchPathDirectory;
enum {
  NSApplicationDirectory = 1,
  NSDocumentDirectory = 9,
  NSDesktopDirectory = 12,
  NSApplicationSupportDirectory = 14,
  NSDownloadsDirectory = 15,
  NSMoviesDirectory = 17,
  NSMusicDirectory = 18,
  NSPicturesDirectory = 19
};

typedef NSUInteger NSSearchPathDomainMask;
enum { NSUserDomainMask = 1, NSLocalDomainMask = 2 };

FOUNDATION_EXPORT NSString* NSHomeDirectory(void);
FOUNDATION_EXPORT NSString* NSTemporaryDirectory(void);
FOUNDATION_EXPORT NSArray<NSString*>* NSSearchPathForDirectoriesInDomains(NSSearchPathDirectory kind,
                                                                          NSSearchPathDomainMask domains, BOOL expand);

@interface NSString (NSStringPathExtensions)
@property(readonly) NSString* lastPathComponent;
@property(readonly) NSString* stringByDeletingPathExtension;
@end
