#pragma once

#include <cstdarg>

namespace text {

/// `va_end` also when the text that is written to cannot grow. That it stands in another function makes no difference
/// to any compiler of ours.
class FormatArguments {
 public:
  explicit FormatArguments(va_list& list) : list_(list) {}
  // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): the analyser loses `va_start` behind the reference.
  ~FormatArguments() { va_end(list_); }
  FormatArguments(const FormatArguments&) = delete;
  FormatArguments& operator=(const FormatArguments&) = delete;

 private:
  va_list& list_;
};

}  // namespace text
