#pragma once

#import <Foundation/NSObject.h>

__attribute__((objc_exception))
@interface NSException : NSObject
@end
