#include <cstddef>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/guarded_buffer.h>
#include <tillvane/files/line_end.h>
#include <tillvane/files/line_reading.h>

namespace {

template <class Block>
class LineEnd : public testing::Test {};

#ifdef __SSE2__
using Blocks = testing::Types<files::WordBlock, files::Sse2Block>;
#else
using Blocks = testing::Types<files::WordBlock>;
#endif
TYPED_TEST_SUITE(LineEnd, Blocks);

template <class Block>
std::size_t Find(const std::string& text) {
  const char* const end = text.data() + text.size();
  return static_cast<std::size_t>(files::FindLineEnd<Block>(text.data(), end) - text.data());
}

TYPED_TEST(LineEnd, EachCharacterAtEachPlace) {
  for (const std::size_t size : {1u, 7u, 8u, 9u, 31u, 32u, 33u, 71u}) {
    for (std::size_t at = 0; at < size; ++at) {
      for (int character = 0; character < 256; ++character) {
        std::string text(size, 'x');
        text[at] = static_cast<char>(character);
        const bool is_end = character == '\n' || character == '\r';
        ASSERT_EQ(Find<TypeParam>(text), is_end ? at : size) << size << ' ' << at << ' ' << character;
      }
    }
  }
}

TYPED_TEST(LineEnd, WhatFollowsIsNotTakenForIt) {
  // A search by words may mark the neighbours of the numbers behind a true one.
  const std::string neighbours = "\x0B\x0C\x0E\x0B\n\r\x0B\x0E\r\n";
  for (std::size_t at = 0; at < 64; ++at) {
    for (const char first : {'\n', '\r'}) {
      const std::string text = std::string(at, '\x0C') + first + neighbours + std::string(40, '\x0B');
      ASSERT_EQ(Find<TypeParam>(text), at);
    }
  }
}

TYPED_TEST(LineEnd, NothingIsFoundBehindTheEnd) {
  const std::string text(80, '\n');
  for (std::size_t size = 0; size < 3; ++size) {
    EXPECT_EQ(files::FindLineEnd<TypeParam>(text.data(), text.data() + size), text.data());
  }
  const std::string characters = std::string(64, 'x') + '\n';
  for (std::size_t size = 0; size <= 64; ++size) {
    EXPECT_EQ(files::FindLineEnd<TypeParam>(characters.data(), characters.data() + size), characters.data() + size);
  }
}

TEST(LineBuffer, ALineOfEachLengthIsCopiedWhole) {
  std::string line;
  for (std::size_t length = 0; length < 300; ++length, line += static_cast<char>('a' + length % 23)) {
    support::GuardedBuffer<char> buffer(length + 1);
    files::LineBuffer to(buffer.get(), length + 1);
    to.Write(line.data(), length);
    to.Terminate();
    EXPECT_EQ(buffer.get(), line);
    EXPECT_TRUE(buffer.IsWhole()) << length;
  }
}

TEST(LineBuffer, WhatDoesNotFitIsDropped) {
  for (std::size_t size = 0; size < 150; ++size) {
    support::GuardedBuffer<char> buffer(size);
    files::LineBuffer to(buffer.get(), size);
    const std::string first(70, 'a'), second(100, 'b');
    to.Write(first.data(), first.size());
    to.Write(second.data(), second.size());
    to.Terminate();
    EXPECT_TRUE(buffer.IsWhole()) << size;
    if (size != 0) {
      EXPECT_EQ(buffer.get(), (first + second).substr(0, size - 1));
    }
  }
}

}  // namespace
