#include <gtest/gtest.h>

#include <tillvane/net/socket_slices.h>

namespace {

unsigned int SlicesOf(unsigned int ms) {
  net::SliceBudget budget(ms);
  unsigned int slices = 1;
  while (budget.SpendSlice()) ++slices;
  return slices;
}

TEST(SliceBudget, TimeIsSpentInWholeSlicesAndNoTimeIsOne) {
  struct Case {
    unsigned int ms, slices;
  };
  for (const auto& one : {Case{0, 1}, Case{1, 1}, Case{199, 1}, Case{200, 1}, Case{201, 2}, Case{400, 2}, Case{401, 3},
                          Case{1000, 5}, Case{1001, 6}, Case{60000, 300}, Case{0xFFFFFF37, 21474836}}) {
    EXPECT_EQ(SlicesOf(one.ms), one.slices) << one.ms;
  }
}

// The first sum wraps, and so does the first difference.
TEST(SliceBudget, TheLargestTimesAreFortyNineDaysToo) {
  for (const unsigned int ms : {0xFFFFFF38u, 0xFFFFFF39u, 0xFFFFFFA0u}) EXPECT_EQ(SlicesOf(ms), 21474836u) << ms;
  for (const unsigned int ms : {0xFFFFFFA1u, 0xFFFFFFFEu, 0xFFFFFFFFu}) EXPECT_EQ(SlicesOf(ms), 21474837u) << ms;
}

}  // namespace
