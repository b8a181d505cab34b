#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/waiting.h>
#include <tillvane/core/LSignalObject.h>

namespace {

using support::kLongMs;
using support::kSoonMs;
using support::Stopwatch;

constexpr unsigned int kNoLimit = 0xFFFFFFFF;

/// A descriptor number that is closed and not about to be used again.
int ClosedDescriptor() {
  const LSignalObject signal;
  const int high = fcntl(signal.filedes[0], F_DUPFD_CLOEXEC, 900);
  close(high);
  return high;
}

/// The group's fields, which the layout test pins.
struct GroupFields {
  std::array<unsigned int, 32> words;
  int highest;
  int count;
};

GroupFields FieldsOf(const LSignalObjectGroup& group) {
  GroupFields fields;
  static_assert(sizeof fields == sizeof group);
  std::memcpy(&fields, &group, sizeof fields);
  return fields;
}

LSignalObjectRef Reference(int descriptor) {
  LSignalObjectRef reference;
  reference.filedes[0] = descriptor;
  return reference;
}

TEST(SignalObjectGroup, StartsWithoutMembers) {
  const LSignalObjectGroup group;
  const GroupFields fields = FieldsOf(group);
  for (const unsigned int word : fields.words) EXPECT_EQ(word, 0u);
  EXPECT_EQ(fields.highest, -1);
  EXPECT_EQ(fields.count, 0);
  EXPECT_EQ(sizeof group, 136u);
  const Stopwatch watch;
  EXPECT_FALSE(group.Select(30));
  EXPECT_GE(watch.Ms(), 30);
}

TEST(SignalObjectGroup, BitDOfWordDOver32StandsForDescriptorD) {
  for (const int descriptor : {0, 1, 31, 32, 63, 64, 511, 1000, 1022, 1023}) {
    SCOPED_TRACE(descriptor);
    LSignalObjectGroup group;
    group.Add(Reference(descriptor));
    const GroupFields fields = FieldsOf(group);
    for (int word = 0; word < 32; ++word) {
      const unsigned int expected = word == descriptor / 32 ? 1u << descriptor % 32 : 0u;
      EXPECT_EQ(fields.words[static_cast<std::size_t>(word)], expected) << "word " << word;
    }
    EXPECT_EQ(fields.highest, descriptor);
    EXPECT_EQ(fields.count, 1);
  }
}

TEST(SignalObjectGroup, TheHighestOnlyRises) {
  LSignalObjectGroup group;
  for (const auto& [descriptor, highest] : {std::pair{20, 20}, {10, 20}, {21, 21}, {0, 21}}) {
    group.Add(Reference(descriptor));
    EXPECT_EQ(FieldsOf(group).highest, highest) << descriptor;
  }
}

// Around the group, nothing may change either: a larger descriptor's bit would lie there.
TEST(SignalObjectGroup, DescriptorsOutsideTheSetAreIgnored) {
  struct Guarded {
    std::array<unsigned char, 1024> before;
    LSignalObjectGroup group;
    std::array<unsigned char, 1024> after;
  };
  for (const int descriptor : {-1, -2, -33, INT_MIN, 1024, 1025, 1055, 1056, 1087, 2000, 9000, INT_MAX}) {
    SCOPED_TRACE(descriptor);
    Guarded guarded;
    guarded.before.fill(0xA5);
    guarded.after.fill(0xA5);
    guarded.group.Add(Reference(3));
    Guarded untouched = guarded;
    guarded.group.Add(Reference(descriptor));
    EXPECT_EQ(std::memcmp(&guarded, &untouched, sizeof guarded), 0);
  }
}

TEST(SignalObjectGroup, The256thMemberIsIgnored) {
  const LSignalObject first, last;
  last.Signal();
  struct Case {
    int before;
    bool is_added;
  };
  for (const auto& [before, is_added] :
       {Case{0, true}, Case{253, true}, Case{254, true}, Case{255, false}, Case{256, false}, Case{1000, false}}) {
    SCOPED_TRACE(before);
    LSignalObjectGroup group;
    // The same descriptor counts each time.
    for (int i = 0; i < before; ++i) group.Add(first);
    EXPECT_EQ(FieldsOf(group).count, std::min(before, 255));
    group.Add(last);
    EXPECT_EQ(FieldsOf(group).count, std::min(before + 1, 255));
    EXPECT_EQ(group.Select(0), is_added);
  }
}

TEST(SignalObjectGroup, AddingAGroupAddsItsMembersFromTheLowestUpAsFarAsTheyFit) {
  LSignalObjectGroup other;
  for (const int descriptor : {900, 7, 7, 40, 1023}) other.Add(Reference(descriptor));
  struct Case {
    int before;
    int count;
    int highest;
    std::vector<int> added;
  };
  for (const Case& one : {Case{0, 4, 1023, {7, 40, 900, 1023}}, Case{1, 5, 1023, {7, 40, 900, 1023}},
                          Case{251, 255, 1023, {7, 40, 900, 1023}}, Case{252, 255, 900, {7, 40, 900}},
                          Case{253, 255, 40, {7, 40}}, Case{254, 255, 7, {7}}, Case{255, 255, 3, {}}}) {
    SCOPED_TRACE(one.before);
    LSignalObjectGroup group;
    for (int i = 0; i < one.before; ++i) group.Add(Reference(3));
    LSignalObjectGroup expected = group;
    for (const int descriptor : one.added) expected.Add(Reference(descriptor));
    const GroupFields other_before = FieldsOf(other);
    group.Add(other);
    EXPECT_EQ(FieldsOf(group).count, one.count);
    EXPECT_EQ(FieldsOf(group).highest, one.highest);
    EXPECT_EQ(FieldsOf(group).words, FieldsOf(expected).words);
    EXPECT_EQ(std::memcmp(&other_before, &other, sizeof other), 0);
  }
}

TEST(SignalObjectGroup, AddingAGroupToItselfCountsItsMembersAgain) {
  LSignalObjectGroup group;
  for (const int descriptor : {4, 5, 6}) group.Add(Reference(descriptor));
  group.Add(group);
  EXPECT_EQ(FieldsOf(group).count, 6);
  EXPECT_EQ(FieldsOf(group).highest, 6);
  EXPECT_EQ(FieldsOf(group).words[0], 0x70u);
}

TEST(SignalObjectGroup, SelectIsTrueForAnyMemberAndDoesNotAlterTheGroup) {
  const LSignalObject signals[3];
  LSignalObjectGroup group;
  for (const LSignalObject& signal : signals) group.Add(signal);
  const GroupFields before = FieldsOf(group);
  for (const LSignalObject& signal : signals) {
    LSignalObjectRef reference = signal;
    EXPECT_FALSE(group.Select(0));
    reference.Signal();
    EXPECT_TRUE(group.Select(0));
    EXPECT_TRUE(group.Select(kNoLimit));
    reference.Reset();
  }
  const GroupFields after = FieldsOf(group);
  EXPECT_EQ(std::memcmp(&before, &after, sizeof before), 0);
}

TEST(SignalObjectGroup, AClosedMemberFailsTheWaitThoughAnotherIsReady) {
  const LSignalObject signal;
  signal.Signal();
  LSignalObjectGroup group;
  group.Add(signal);
  group.Add(Reference(ClosedDescriptor()));
  const Stopwatch watch;
  EXPECT_FALSE(group.Select(kLongMs));
  EXPECT_LT(watch.Ms(), kSoonMs);
}

}  // namespace
