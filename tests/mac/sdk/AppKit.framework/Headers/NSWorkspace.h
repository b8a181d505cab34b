#pragma once

#import <Foundation/Foundation.h>

@interface NSWorkspace : NSObject
@property(class, readonly) NSWorkspace* sharedWorkspace;
- (BOOL)selectFile:(NSString*)path inFileViewerRootedAtPath:(NSString*)root;
@end
