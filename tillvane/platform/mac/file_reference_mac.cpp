#include <tillvane/platform/mac/file_reference_mac.h>

#include <cstdlib>
#include <memory>

namespace platform {

std::string RealPath(const char* path) {
  struct Free {
    void operator()(char* memory) const { std::free(memory); }
  };
  const std::unique_ptr<char, Free> real(realpath(path, nullptr));
  return real ? real.get() : std::string();
}

OSStatus MakeReference(const std::string& path, FSRef* reference) {
  // The File Manager's calls, which have no others in their place, take nothing else.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
  return FSPathMakeRef(reinterpret_cast<const UInt8*>(path.c_str()), reference, nullptr);
#pragma clang diagnostic pop
}

}  // namespace platform
