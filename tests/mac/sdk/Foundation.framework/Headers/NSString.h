#pragma once

#import <Foundation/NSData.h>

typedef NSUInteger NSStringEncoding;

enum { NSUTF8StringEncoding = 4 };

@interface NSString : NSObject
@property(class, readonly) NSStringEncoding defaultCStringEncoding;
@property(readonly) NSUInteger length;
@property(readonly) const char* UTF8String;
+ (instancetype)stringWithUTF8String:(const char*)text;
- (instancetype)initWithBytes:(const void*)bytes length:(NSUInteger)length encoding:(NSStringEncoding)encoding;
- (instancetype)initWithUTF8String:(const char*)text;
- (NSData*)dataUsingEncoding:(NSStringEncoding)encoding allowLossyConversion:(BOOL)lossy;
- (BOOL)isEqualToString:(NSString*)other;
@end
