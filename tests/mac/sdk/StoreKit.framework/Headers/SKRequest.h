#pragma once

#import <Foundation/Foundation.h>

@protocol SKRequestDelegate <NSObject>
@end

@interface SKRequest : NSObject
@property(nonatomic, weak) id<SKRequestDelegate> delegate;
- (void)cancel;
- (void)start;
@end
