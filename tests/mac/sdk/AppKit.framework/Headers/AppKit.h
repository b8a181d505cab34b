#pragma once

#import <AppKit/NSWorkspace.h>
#import <Foundation/Foundation.h>
