#include <string>

#include <tillvane/platform/main_bundle.h>
#include <tillvane/system/LCFBundle.h>
#include <tillvane/system/LCFString.h>
#include <tillvane/system/version_text.h>

namespace {

constexpr unsigned long kTextSize = 260;

}  // namespace

LCFBundle::LCFBundle() : bundle_(platform::MainBundleReference()) {}

bool LCFBundle::GetVersionNumber(int& major, int& minor) const {
  LCFString version;
  version.SetString(platform::BundleInformation(bundle_, "CFBundleVersion").c_str());
  char text[kTextSize];
  version.GetString(text, sizeof text);
  return bundle::ParseVersion(text, major, minor);
}
