#pragma once

#import <Foundation/Foundation.h>

namespace platform {

/// Objects that Foundation hands out end with this scope, on threads and in programs that have no pool too.
class AutoreleasePool {
 public:
  AutoreleasePool() : pool_([[NSAutoreleasePool alloc] init]) {}
  ~AutoreleasePool() { [pool_ drain]; }
  AutoreleasePool(const AutoreleasePool&) = delete;
  AutoreleasePool& operator=(const AutoreleasePool&) = delete;

 private:
  NSAutoreleasePool* const pool_;
};

}  // namespace platform
