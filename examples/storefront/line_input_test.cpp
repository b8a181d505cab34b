#include "line_input.h"

#include <unistd.h>

#include <functional>
#include <optional>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "on_loop_test.h"

namespace {

using storefront::LineInput;
using storefront::OnLoop;

class LineInputTest : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(pipe(ends_), 0); }
  ~LineInputTest() override {
    if (ends_[0] >= 0) close(ends_[0]);
    CloseWriter();
  }

  void Write(const std::string& text) const {
    ASSERT_EQ(write(ends_[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }
  void CloseWriter() {
    if (ends_[1] >= 0) close(ends_[1]);
    ends_[1] = -1;
  }

  /// Stops when asked to.
  struct Loop : LProcessEventsHandler {
    bool IsProcessEventHandlerToStop() const override { return stop; }
    bool stop = false;
  };

  int ends_[2] = {-1, -1};
  Loop loop_;
};

TEST_F(LineInputTest, GivesLineAfterLine) {
  LineInput input(ends_[0]);
  Write("one\n\ntwo\nlast");
  CloseWriter();
  for (const char* line : {"one", "", "two", "last"}) EXPECT_EQ(input.ReadLine(loop_), line);
  EXPECT_EQ(input.ReadLine(loop_), std::nullopt);
  EXPECT_EQ(input.ReadLine(loop_), std::nullopt);
}

TEST_F(LineInputTest, PutsALineTogether) {
  LineInput input(ends_[0]);
  Write("be");
  const OnLoop later(20, [&] { Write("gun\n"); });
  EXPECT_EQ(input.ReadLine(loop_), "begun");
}

TEST_F(LineInputTest, ClosedDescriptorIsTheEnd) {
  LineInput input(ends_[0]);
  close(std::exchange(ends_[0], -1));
  EXPECT_EQ(input.ReadLine(loop_), std::nullopt);
}

TEST_F(LineInputTest, StopEndsTheWait) {
  LineInput input(ends_[0]);
  const OnLoop later(20, [&] { loop_.stop = true; });
  EXPECT_EQ(input.ReadLine(loop_), std::nullopt);
  Write("a line that is there\n");
  EXPECT_EQ(input.ReadLine(loop_), std::nullopt);
}

TEST_F(LineInputTest, CutsALongLine) {
  LineInput input(ends_[0]);
  Write(std::string(5000, 'x') + "\nnext\n");
  const std::optional<std::string> line = input.ReadLine(loop_);
  ASSERT_TRUE(line);
  EXPECT_GE(line->size(), 1000U);
  EXPECT_LT(line->size(), 1500U);
  EXPECT_EQ(input.ReadLine(loop_), "next");
}

TEST_F(LineInputTest, KeepsTypedAheadWithoutATerminal) {
  LineInput input(ends_[0]);
  Write("one\ntwo\n");
  EXPECT_EQ(input.ReadLine(loop_), "one");
  input.DropTypedAhead();
  EXPECT_EQ(input.ReadLine(loop_), "two");
}

TEST_F(LineInputTest, QuestionInsideOfAWaitTakesTheFirstLine) {
  LineInput input(ends_[0]);
  std::optional<std::string> inner;
  const OnLoop asking(10, [&] {
    const OnLoop later(20, [&] { Write("one\n"); });
    inner = input.ReadLine(loop_);
    Write("two\n");
  });
  EXPECT_EQ(input.ReadLine(loop_), "two");
  EXPECT_EQ(inner, "one");
}

}  // namespace
