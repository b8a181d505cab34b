#include <new>
#include <utility>

#include <gtest/gtest.h>

#include <tillvane/text/LVector.h>

namespace {

char first[] = "first", second[] = "second", third[] = "third";

LVector<char*> Filled() {
  LVector<char*> vector;
  vector.SetSize(3);
  vector.data[0] = first;
  vector.data[1] = second;
  vector.data[2] = third;
  return vector;
}

TEST(Vector, BeginsWithoutAnArray) {
  const LVector<char*> vector;
  EXPECT_EQ(vector.data, nullptr);
  EXPECT_EQ(vector.count, 0u);
}

TEST(Vector, KeepsTheFirstSlotsWhenItShrinks) {
  LVector<char*> vector = Filled();
  vector.SetSize(2);
  EXPECT_EQ(vector.count, 2u);
  EXPECT_EQ(vector.data[0], first);
  EXPECT_EQ(vector.data[1], second);
}

TEST(Vector, KeepsAllSlotsWhenItGrows) {
  LVector<char*> vector = Filled();
  vector.SetSize(100);
  EXPECT_EQ(vector.count, 100u);
  vector.data[99] = first;
  EXPECT_EQ(vector.data[0], first);
  EXPECT_EQ(vector.data[1], second);
  EXPECT_EQ(vector.data[2], third);
}

TEST(Vector, OfTheSameSizeKeepsItsArray) {
  LVector<char*> vector = Filled();
  char** const array = vector.data;
  vector.SetSize(3);
  EXPECT_EQ(vector.data, array);
}

TEST(Vector, OfSizeNoneHasNoArray) {
  LVector<char*> vector = Filled();
  vector.SetSize(0);
  EXPECT_EQ(vector.data, nullptr);
  EXPECT_EQ(vector.count, 0u);
}

TEST(Vector, CannotBeLargerThanItsFieldSays) {
  if (sizeof(unsigned long) == 4) GTEST_SKIP() << "no size is larger here";
  LVector<char*> vector = Filled();
  EXPECT_THROW(vector.SetSize(static_cast<unsigned long>(1ull << 32)), std::bad_alloc);
  EXPECT_EQ(vector.count, 3u);
  EXPECT_EQ(vector.data[2], third);
}

TEST(Vector, MovesItsArray) {
  LVector<char*> vector = Filled();
  LVector<char*> moved = std::move(vector);
  EXPECT_EQ(moved.count, 3u);
  // It is an empty vector, which may be used again. NOLINTBEGIN(bugprone-use-after-move, clang-analyzer-cplusplus.Move)
  EXPECT_EQ(vector.count, 0u);
  vector.SetSize(1);
  vector.data[0] = second;
  // NOLINTEND(bugprone-use-after-move, clang-analyzer-cplusplus.Move)
  LVector<char*> assigned;
  assigned = std::move(moved);
  EXPECT_EQ(assigned.data[2], third);
}

}  // namespace
