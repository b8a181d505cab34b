#pragma once

#import <Foundation/NSObject.h>

@interface NSLocale : NSObject
@end
