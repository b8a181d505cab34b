#include <sys/stat.h>

#include <utility>

#include <tillvane/platform/native_url.h>
#include <tillvane/system/LCFString.h>
#include <tillvane/system/LCFURL.h>
#include <tillvane/text/LStringURI.h>

namespace {

constexpr unsigned int kPathSize = 260;

bool IsFolder(const char* path) {
  struct stat info;
  return stat(path, &info) == 0 && S_ISDIR(info.st_mode);
}

}  // namespace

LCFURL::~LCFURL() { Release(); }

void LCFURL::Release() { platform::ReleaseURL(std::exchange(url_, nullptr)); }

bool LCFURL::CreateFromFullPath(const char* path) {
  Release();
  if (path == nullptr) return false;
  char encoded[kPathSize];
  LFixedLengthStringWriterTemplate<char> writer{encoded, 0, kPathSize - 1};
  LURIEncodeToWriterDirect(writer, path);
  encoded[writer.length] = '\0';
  LCFString text;
  text.SetString(encoded);
  url_ = platform::URLFromFileSystemPath(text.Get(), IsFolder(path));
  return url_ != nullptr;
}

bool LCFURL::CreateFromApplicationBundleResourcesFolder() {
  Release();
  url_ = platform::MainBundleResourcesURL();
  return url_ != nullptr;
}

bool LCFURL::GetPath(char* dest, unsigned long capacity) const {
  const LCFString path(url_ != nullptr ? platform::URLFileSystemPath(url_) : nullptr);
  path.GetString(dest, capacity);
  return path.Get() != nullptr;
}
