#include <vector>

#include <gtest/gtest.h>

#include <tillvane/core/LList.h>

namespace {

struct Element {
  int number;
  Element* next = nullptr;
};

class List : public testing::Test {
 protected:
  List() {
    for (Element* element : {&c_, &b_, &a_}) list_.Prepend(element);
  }

  std::vector<int> Numbers() {
    std::vector<int> numbers;
    for (LListIterator<Element> each(list_); each.Get() != nullptr; each.Next()) numbers.push_back(each.Get()->number);
    return numbers;
  }

  using Vector = std::vector<int>;
  Element a_{1}, b_{2}, c_{3};
  LList<Element> list_;
};

TEST_F(List, IsWalkedFromItsHead) {
  EXPECT_EQ(list_.head, &a_);
  EXPECT_EQ(Numbers(), (Vector{1, 2, 3}));
}

TEST_F(List, DetachTakesOutTheElementAndMovesOn) {
  LListIterator<Element> each(list_);
  each.Next();
  EXPECT_EQ(list_.Detach(each), &b_);
  EXPECT_EQ(each.Get(), &c_);
  EXPECT_EQ(b_.next, nullptr);
  EXPECT_EQ(Numbers(), (Vector{1, 3}));
  EXPECT_EQ(list_.Detach(each), &c_);
  EXPECT_EQ(each.Get(), nullptr);
  EXPECT_EQ(Numbers(), (Vector{1}));
}

TEST_F(List, DetachTakesOutTheHead) {
  LListIterator<Element> each(list_);
  EXPECT_EQ(list_.Detach(each), &a_);
  EXPECT_EQ(list_.head, &b_);
  EXPECT_EQ(each.Get(), &b_);
}

TEST_F(List, DetachAtTheEndGivesNothing) {
  LListIterator<Element> each(list_);
  for (int i = 0; i < 4; ++i) each.Next();
  EXPECT_EQ(list_.Detach(each), nullptr);
  EXPECT_EQ(Numbers(), (Vector{1, 2, 3}));
  LList<Element> none;
  LListIterator<Element> at_end(none);
  EXPECT_EQ(none.Detach(at_end), nullptr);
}

TEST_F(List, DetachOfAnElementThatIsNotInTheListGivesNothing) {
  Element stranger{4};
  LList<Element> other;
  other.Prepend(&stranger);
  LListIterator<Element> each(other);
  EXPECT_EQ(list_.Detach(each), nullptr);
  EXPECT_EQ(each.Get(), &stranger);
  EXPECT_EQ(Numbers(), (Vector{1, 2, 3}));
}

TEST_F(List, RemoveAnswersWhetherItWasThere) {
  EXPECT_TRUE(list_.Remove(&c_));
  EXPECT_FALSE(list_.Remove(&c_));
  EXPECT_EQ(Numbers(), (Vector{1, 2}));
}

}  // namespace
