#pragma once

#include <sstream>
#include <string>

#include <tests/support/path_calls.h>
#include <tests/support/path_reference.h>

/// \file
/// Every operation on paths beside its plain form.

namespace support {

/// Empty while all answers are the same, then a description of the first two that are not.
class PathDifference {
 public:
  const std::string& Text() const { return text_; }

  void CompareSplitting(const std::string& path) {
    using namespace calls;  // NOLINT(google-build-using-namespace): all of them are compared.
    Compare("folder", SplitOf<LFile::_GetFolderFromPath>(path), reference::Folder(path), path);
    Compare("base folder", SplitOf<LFile::_GetBaseFolderFromPath>(path), reference::BaseFolder(path), path);
    Compare("file", SplitOf<LFile::_GetFileFromPath>(path), reference::File(path), path);
    Compare("file name", SplitOf<LFile::_GetFileNameFromPath>(path), reference::FileName(path), path);
    Compare("extension", SplitOf<LFile::_GetFileExtensionFromPath>(path), reference::Extension(path), path);
  }

  void CompareCleaning(const std::string& text) {
    Compare("cleaned name", calls::CleanOf<LFile::PreprocessName>(text), reference::CleanName(text), text);
    Compare("cleaned path", calls::CleanOf<LFile::PreprocessPath>(text), reference::CleanPath(text), text);
    Compare("escaped", calls::Escaped(text), reference::Escaped(text), text);
  }

  void CompareJoining(const std::string& folder, const std::string& name, const std::string& suffix) {
    Compare("joined", calls::Join(folder, name, suffix), reference::Join(folder, name, suffix), folder, name, suffix);
    Compare("absolute", calls::Absolute(folder, name, suffix), reference::Absolute(folder, name, suffix), folder, name,
            suffix);
    Compare("extended", calls::WithExtension(folder, suffix), reference::WithExtension(folder, suffix), folder, suffix);
  }

  void CompareWays(const std::string& base, const std::string& target) {
    Compare("relative", calls::Relative(base, target), reference::Relative(base, target), base, target);
    Compare("relative from absolute", calls::RelativeFromAbsolute(base, target),
            reference::RelativeFromAbsolute(base, target), base, target);
  }

  void CompareMatching(const std::string& pattern, const std::string& name) {
    Compare("match", calls::IsMatch(pattern, name), reference::IsMatch(pattern, name), pattern, name);
  }

  void CompareSize(unsigned long long size) {
    Compare("size", calls::SizeText(size), reference::SizeText(size), std::to_string(size));
  }

 private:
  template <class Answer, class... Inputs>
  void Compare(const char* what, const Answer& ours, const Answer& plain, const Inputs&... inputs) {
    if (ours == plain || !text_.empty()) return;
    std::ostringstream text;
    text << what << " of";
    ((text << " \"" << inputs << '"'), ...);
    text << ": " << ours << " instead of " << plain;
    text_ = text.str();
  }

  std::string text_;
};

}  // namespace support
