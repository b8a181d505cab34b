#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include <tests/support/guarded_buffer.h>
#include <tests/support/path_reference.h>
#include <tillvane/files/LFile.h>

/// \file
/// The operations on paths under the same names as in `path_reference.h`: from inputs of exactly their size into
/// outputs that are watched.

namespace support::calls {

constexpr std::size_t kPathSize = 260;

/// The text and its terminator in memory of their own, and nothing behind them.
class Exact {
 public:
  // NOLINTNEXTLINE(google-explicit-constructor): it stands where a text is handed over.
  Exact(const std::string& text) : bytes_(text.c_str(), text.c_str() + text.size() + 1) {}
  operator const char*() const { return bytes_.data(); }

 private:
  std::vector<char> bytes_;
};

/// An output that is watched. Its text is an apology, which no operation answers, when it was not used as it should be.
class Output {
 public:
  explicit Output(std::size_t size = kPathSize) : size_(size), buffer_(size) {}
  /// One that holds the input of an operation that works in place.
  explicit Output(const std::string& text) : Output() {
    for (std::size_t i = 0; i <= text.size(); ++i) buffer_.get()[i] = text.c_str()[i];
  }

  operator char*() { return buffer_.get(); }

  std::string Text() const {
    if (!buffer_.IsWhole()) return "(written beside the buffer)";
    std::string text;
    for (std::size_t i = 0; i < size_; ++i) {
      if (buffer_[i] == '\0') return text;
      text += buffer_[i];
    }
    return "(no terminator)";
  }

 private:
  std::size_t size_;
  GuardedBuffer<char> buffer_;
};

using Split = void (*)(char*, const char*);

template <Split kSplit>
std::string SplitOf(const std::string& path) {
  Output out;
  kSplit(out, Exact(path));
  return out.Text();
}

/// \param path fits in an output
template <Split kSplit>
std::string SplitInPlace(const std::string& path) {
  Output out(path);
  kSplit(out, out);
  return out.Text();
}

inline std::string WithExtension(const std::string& path, const std::string& extension) {
  Output out;
  LFile::_ApplyNewFileExtension(out, Exact(path), Exact(extension));
  return out.Text();
}

inline reference::PathAnswer Join(const std::string& folder, const std::string& name, const std::string& suffix) {
  Output out;
  const unsigned long result = LFile::_MakeFilePath(out, Exact(folder), Exact(name), Exact(suffix));
  return {out.Text(), result};
}

inline reference::PathAnswer Absolute(const std::string& base, const std::string& relative, const std::string& suffix) {
  Output out;
  const unsigned long result = LFile::MakeAbsoluteFilePath(out, Exact(base), Exact(relative), Exact(suffix));
  return {out.Text(), result};
}

using Way = int (*)(char*, const char*, const char*);

template <Way kWay>
reference::PathAnswer WayOf(const std::string& base, const std::string& target, std::size_t size = kPathSize) {
  Output out(size);
  const int result = kWay(out, Exact(base), Exact(target));
  return {out.Text(), static_cast<unsigned long>(result)};
}

/// The way from a folder is longer where that has many slashes.
inline reference::PathAnswer Relative(const std::string& base, const std::string& target) {
  const auto slashes = static_cast<std::size_t>(std::count(base.begin(), base.end(), '/'));
  return WayOf<LFile::MakeRelativeFilePath>(base, target, kPathSize + 3 * (slashes + 1));
}

inline reference::PathAnswer RelativeFromAbsolute(const std::string& base, const std::string& target) {
  return WayOf<LFile::GetRelativePathFromAbsolutePath>(base, target);
}

using Clean = int (*)(const char*, char*);

template <Clean kClean>
reference::PathAnswer CleanOf(const std::string& text) {
  Output out;
  const int result = kClean(Exact(text), out);
  return {out.Text(), static_cast<unsigned long>(result)};
}

inline std::string Escaped(const std::string& path) {
  Output out;
  const char* const result = LFile::EscapeFilePath(Exact(path), out);
  return result == out ? out.Text() : "(not the output)";
}

inline bool IsMatch(const std::string& pattern, const std::string& name) {
  return LFile::IsMatch<char>(Exact(pattern), Exact(name));
}

inline reference::PathAnswer SizeText(unsigned long long size) {
  Output out(32);
  const unsigned long result = LFile::GetSizeFormattedBytes(size, out);
  return {out.Text(), result};
}

}  // namespace support::calls
