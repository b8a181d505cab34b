#pragma once

#import <Foundation/NSObject.h>

@interface NSUserDefaults : NSObject
@property(class, readonly, strong) NSUserDefaults* standardUserDefaults;
- (id)objectForKey:(NSString*)key;
- (void)removeObjectForKey:(NSString*)key;
- (void)setObject:(id)value forKey:(NSString*)key;
- (BOOL)synchronize;
@end
