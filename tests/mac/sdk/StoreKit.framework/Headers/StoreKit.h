#pragma once

#import <Foundation/Foundation.h>
