// Labels, into another buffer and in place. Input: the label.

#include <cstddef>
#include <cstdint>
#include <string>

#include <tillvane/text/LStringLabels.h>

#include "require.h"
#include "texts.h"

namespace {

using fuzz::Require;

std::string WithoutAmpersands(const std::string& label) {
  std::string result;
  for (std::size_t i = 0; i < label.size(); ++i) {
    if (label[i] != '&') {
      result += label[i];
    } else if (label.compare(i, 2, "&&") == 0) {
      result += label[i++];
    }
  }
  return result;
}

std::string WithoutGroups(const std::string& label) {
  std::string result;
  for (std::size_t at = 0;;) {
    const std::size_t begin = label.find("(&", at);
    result += label.substr(at, begin - at);
    if (begin == std::string::npos) return result;
    const std::size_t end = label.find(')', begin);
    if (end == std::string::npos) return result;
    at = end + 1;
  }
}

void Check(void (*strip)(char*, const char*), const std::string& label, const std::string& expected) {
  fuzz::Buffer from(label), same(label), other(label.size() + 1);
  strip(other.Get(), from.Get());
  Require(other.Get() == expected, "the label is as expected");
  strip(same.Get(), same.Get());
  Require(same.Get() == expected, "the label is as expected in place");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string label = fuzz::Input(data, size).Text();
  const std::string plain = WithoutAmpersands(label);
  Check(LStripAmpersand, label, plain);
  Check(LPrepareForDisplay, label, plain);
  Check(LPrepareForMenuItem, label, plain.substr(0, plain.find('\t')));
  Check(LStripJPStyleAmpersand, label, WithoutGroups(label));
  fuzz::Buffer cut(label);
  LStripFromFirstTabToEnd(cut.Get());
  Require(cut.Get() == label.substr(0, label.find('\t')), "a tab ends a text");
  return 0;
}
