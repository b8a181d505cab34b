#pragma once

#import <Foundation/NSArray.h>

@interface NSLocale : NSObject
@property(class, readonly, copy) NSArray<NSString*>* availableLocaleIdentifiers;
- (instancetype)initWithLocaleIdentifier:(NSString*)identifier;
@end
