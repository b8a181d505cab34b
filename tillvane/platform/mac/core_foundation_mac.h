#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <memory>
#include <string>
#include <type_traits>

namespace platform {

struct ReleaseObject {
  void operator()(CFTypeRef object) const { CFRelease(object); }
};

/// A reference that ends with this.
template <class Reference>
using OwnedObject = std::unique_ptr<std::remove_pointer_t<Reference>, ReleaseObject>;

/// A text as UTF-8; empty for what is null or no text, and for a text that UTF-8 cannot write.
std::string PlainText(CFTypeRef object);

}  // namespace platform
