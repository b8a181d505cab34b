// Every operation on paths beside its plain form, over made-up inputs: ten thousand, and ten million with
// TILLVANE_TEST_LONG in the environment.

#include <algorithm>
#include <cstdlib>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include <tests/support/path_difference.h>
#include <tests/support/seeded.h>

namespace {

using support::PathDifference;
using support::Seeded;

int Cases() {
  if (std::getenv("TILLVANE_TEST_LONG") != nullptr) return 10'000'000;
#ifdef TILLVANE_SANITIZED
  return 2'000;
#else
  return 10'000;
#endif
}

/// Mostly short; some end near the size of a path's buffer, a few far behind it.
unsigned int Length(Seeded& seeded) {
  const unsigned int kind = seeded.Below(32);
  if (kind == 0) return seeded.Below(700);
  return kind <= 2 ? 250 + seeded.Below(16) : seeded.Below(24);
}

/// Characters of an alphabet, some of them many times in a row.
std::string Text(Seeded& seeded, std::string_view alphabet) {
  std::string text;
  for (const std::size_t length = Length(seeded); text.size() < length;) {
    const unsigned int run = seeded.Below(24) == 0 ? seeded.Below(260) : 1;
    text.append(std::min<std::size_t>(run, length - text.size()), alphabet[seeded.Below(alphabet.size())]);
  }
  return text;
}

std::string Path(Seeded& seeded) {
  // Twice what matters most.
  return Text(seeded, "//\\\\...:aab \"`*?<>|\x01\x1F\x7F\x80\xFF");
}

/// The plain form of a match takes the product of both lengths: rarely more.
std::string Short(Seeded& seeded, const std::string& text) {
  return text.substr(0, seeded.Below(256) == 0 ? std::string::npos : 24);
}

/// With dots and separators alone, and many of them.
std::string Steps(Seeded& seeded) {
  std::string steps;
  for (unsigned int count = seeded.Below(6); count > 0; --count) {
    constexpr std::string_view some[] = {"./", "../", "..\\", ".\\", "..", ".", "/", "a", "a/", ":"};
    steps += some[seeded.Below(static_cast<unsigned int>(std::size(some)))];
  }
  return steps;
}

/// It begins as another one does.
std::string Like(Seeded& seeded, const std::string& path, const std::string& end) {
  return path.substr(0, seeded.Below(path.size() + 1)) + end;
}

TEST(PathDifferential, EveryOperationAnswersAsItsPlainForm) {
  Seeded seeded(51);
  for (int left = Cases(); left > 0; --left) {
    const std::string path = Path(seeded), name = Path(seeded), like = Like(seeded, path, name);
    const std::string steps = Steps(seeded) + (seeded.Below(2) == 0 ? name : "");
    PathDifference difference;
    difference.CompareSplitting(path);
    difference.CompareCleaning(path);
    difference.CompareJoining(path, name, seeded.Below(2) == 0 ? ".lck" : "");
    difference.CompareJoining(path, steps, like);
    difference.CompareWays(path, like);
    difference.CompareWays(like, path);
    difference.CompareWays(Text(seeded, "/a"), Text(seeded, "/a"));
    difference.CompareMatching(Short(seeded, Text(seeded, "a*?")), Short(seeded, Text(seeded, "a")));
    difference.CompareMatching(Short(seeded, Text(seeded, "aab*?")), Short(seeded, Text(seeded, "aab")));
    difference.CompareMatching(Short(seeded, Like(seeded, path, "*" + path)), Short(seeded, path));
    difference.CompareSize(seeded.Bits() >> seeded.Below(64));
    ASSERT_EQ(difference.Text(), "") << "with " << left << " cases left";
  }
}

}  // namespace
