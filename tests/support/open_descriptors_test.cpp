#include <tests/support/open_descriptors.h>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace {

using support::DescribeChanges;
using support::ListOpenDescriptors;
using support::OpenDescriptors;

TEST(OpenDescriptors, AreListedWithWhatTheyAre) {
  const int file = open("/dev/null", O_RDONLY | O_CLOEXEC);
  const OpenDescriptors open_ones = ListOpenDescriptors();
  close(file);
  ASSERT_EQ(open_ones.count(file), 1U);
  EXPECT_EQ(open_ones.at(file), "/dev/null");
  EXPECT_EQ(ListOpenDescriptors().count(file), 0U);
}

TEST(OpenDescriptors, NothingChangedIsNoText) {
  const OpenDescriptors same = {{0, "a"}, {3, "b"}};
  EXPECT_EQ(DescribeChanges(same, same), "");
}

TEST(OpenDescriptors, EveryChangeIsNamed) {
  struct Case {
    OpenDescriptors before, after;
    const char* expected;
  };
  const Case cases[] = {
      {{{0, "a"}}, {{0, "a"}, {3, "b"}}, "descriptor 3 was left open: b\n"},
      {{{0, "a"}, {3, "b"}}, {{0, "a"}}, "descriptor 3 was closed: b\n"},
      {{{3, "pipe:[1]"}}, {{3, "pipe:[2]"}}, "descriptor 3 was left open: pipe:[2]\n"},
  };
  for (const Case& c : cases) EXPECT_EQ(DescribeChanges(c.before, c.after), c.expected);
}

}  // namespace
