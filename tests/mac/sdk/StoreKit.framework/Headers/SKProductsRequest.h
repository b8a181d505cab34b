#pragma once

#import <StoreKit/SKProduct.h>
#import <StoreKit/SKRequest.h>

@class SKProductsRequest;

@interface SKProductsResponse : NSObject
@property(nonatomic, readonly) NSArray<SKProduct*>* products;
@end

@protocol SKProductsRequestDelegate <SKRequestDelegate>
- (void)productsRequest:(SKProductsRequest*)request didReceiveResponse:(SKProductsResponse*)response;
@end

@interface SKProductsRequest : SKRequest
@property(nonatomic, weak) id<SKProductsRequestDelegate> delegate;
- (instancetype)initWithProductIdentifiers:(NSSet<NSString*>*)identifiers;
@end
