#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include <tests/support/path_calls.h>
#include <tillvane/files/LFile.h>

namespace {

using support::calls::CleanOf;
using support::calls::Escaped;
using support::calls::Output;
using support::reference::PathAnswer;

std::string Xs(std::size_t count) { return std::string(count, 'x'); }

struct Case {
  std::string text, clean;
  unsigned long result;
};

template <support::calls::Clean kClean>
void CheckInPlace(const Case& one) {
  if (one.text.size() >= 260) return;
  Output out(one.text);
  EXPECT_EQ(kClean(out, out), static_cast<int>(one.result));
  EXPECT_EQ(out.Text(), one.clean) << "in place";
}

TEST(PathClean, Name) {
  const Case cases[] = {{"name.txt", "name.txt", 1},
                        {"a/b\\c:d*e?f\"g<h>i|j", "abcdefghij", 1},
                        {"  a  ", "  a  ", 1},
                        {"   ", "   ", 1},
                        {"", "", 0},
                        {"/\\:*?\"<>|\t\n", "", 0},
                        {"\x01\x1F\x7F\x80\xFF", "\x7F\x80\xFF", 1},
                        {"\xC3\xA9", "\xC3\xA9", 1},
                        {"..", "..", 1},
                        {Xs(300), Xs(259), 1},
                        {"/" + Xs(259) + "/", Xs(259), 1},
                        {std::string(300, '/') + "a", "a", 1}};
  for (const Case& one : cases) {
    SCOPED_TRACE(one.text);
    EXPECT_EQ(CleanOf<LFile::PreprocessName>(one.text), (PathAnswer{one.clean, one.result}));
    CheckInPlace<LFile::PreprocessName>(one);
  }
}

TEST(PathClean, Path) {
  const Case cases[] = {{"/a/b c.txt", "/a/b c.txt", 1},
                        {"a/b\\c:d*e?f\"g<h>i|j", "a/b\\cdefghij", 1},
                        {"   ", "   ", 0},
                        {" \t ", "  ", 0},
                        {"", "", 0},
                        {"*", "", 0},
                        {"/", "/", 1},
                        {" /", " /", 1},
                        {"\x01\x1F\x7F\x80\xFF", "\x7F\x80\xFF", 1},
                        {Xs(300), Xs(259), 1},
                        // Only what is written counts.
                        {std::string(259, ' ') + "a", std::string(259, ' '), 0},
                        {std::string(258, ' ') + "a", std::string(258, ' ') + "a", 1}};
  for (const Case& one : cases) {
    SCOPED_TRACE(one.text);
    EXPECT_EQ(CleanOf<LFile::PreprocessPath>(one.text), (PathAnswer{one.clean, one.result}));
    CheckInPlace<LFile::PreprocessPath>(one);
  }
}

TEST(PathClean, EveryByte) {
  for (int c = 1; c < 256; ++c) {
    const std::string byte(1, static_cast<char>(c));
    const bool is_separator = byte == "/" || byte == "\\";
    const bool is_kept = c >= 32 && std::string_view("\"*:<>?|").find(byte) == std::string_view::npos;
    EXPECT_EQ(CleanOf<LFile::PreprocessName>(byte).out, is_kept && !is_separator ? byte : "") << c;
    EXPECT_EQ(CleanOf<LFile::PreprocessPath>(byte).out, is_kept ? byte : "") << c;
    EXPECT_EQ(Escaped(byte), byte == "\"" || byte == "`" ? "\\" + byte : byte) << c;
  }
}

TEST(PathClean, EscapedForACommandLine) {
  struct {
    std::string path, escaped;
  } const cases[] = {{"/a b/c", "/a b/c"},
                     {"a\"b`c", "a\\\"b\\`c"},
                     {"a\\b$c'd", "a\\b$c'd"},
                     {"", ""},
                     {"\"\"", "\\\"\\\""},
                     {Xs(300), Xs(259)},
                     {Xs(257) + "\"z", Xs(257) + "\\\""},
                     // The character has no room behind its backslash, or neither has any.
                     {Xs(258) + "\"z", Xs(258) + "\\"},
                     {Xs(258) + "`", Xs(258) + "\\"},
                     {Xs(259) + "\"", Xs(259)},
                     {std::string(300, '`'), [] {
                        std::string all;
                        for (int i = 0; i < 129; ++i) all += "\\`";
                        return all + "\\";
                      }()}};
  for (const auto& one : cases) EXPECT_EQ(Escaped(one.path), one.escaped) << one.path;
}

TEST(PathClean, LettersAndDigits) {
  const std::string_view all = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
  for (int c = 0; c < 256; ++c) {
    const auto character = static_cast<char>(c);
    EXPECT_EQ(LFileIsLetterOrNumber(character), all.find(character) != std::string_view::npos ? 1 : 0) << c;
  }
}

}  // namespace
