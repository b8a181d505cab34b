#include "judgement.h"

#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

namespace {

using soak::Counts;
using soak::Sample;
using testing::HasSubstr;

constexpr long kStart = 10000000;

/// So many quiet points, between which what is in use grows by `step`, and wavers by `noise`.
std::vector<Sample> Samples(int count, long step, long noise = 0) {
  std::vector<Sample> samples;
  for (int i = 0; i < count; ++i) {
    Sample sample;
    sample.blocks = kStart + i * step + (i % 2 == 0 ? noise : -noise);
    sample.heap = sample.resident = kStart;
    samples.push_back(sample);
  }
  return samples;
}

Counts Threads(int count) {
  Counts counts;
  counts.threads = count;
  return counts;
}

TEST(Settling, AtTheFirstQuietPointTheCountsStayTheSame) {
  soak::Settling settling(nullptr);
  EXPECT_FALSE(settling.IsSettledBy(Threads(0)));
  EXPECT_FALSE(settling.IsSettledBy(Threads(3)));
  EXPECT_FALSE(settling.IsSettledBy(Threads(3)));
  // One that had ended was still seen.
  EXPECT_FALSE(settling.IsSettledBy(Threads(2)));
  EXPECT_FALSE(settling.IsSettledBy(Threads(2)));
  EXPECT_TRUE(settling.IsSettledBy(Threads(2)));
}

TEST(Settling, LaterTheyAreTheFirsts) {
  const Counts first = Threads(2);
  soak::Settling settling(&first);
  for (int look = 0; look < 5; ++look) EXPECT_FALSE(settling.IsSettledBy(Threads(3)));
  EXPECT_TRUE(settling.IsSettledBy(Threads(2)));
}

struct CountCase {
  const char* name;
  int Counts::*count;
};

void PrintTo(const CountCase& one, std::ostream* out) { *out << one.name; }

class JudgementCount : public testing::TestWithParam<CountCase> {};

TEST_P(JudgementCount, IsTheSameAtEveryQuietPoint) {
  const Counts first{5, 4, 3, 2, 1, 6};
  Counts now = first;
  EXPECT_EQ(soak::CompareCounts(first, now), "");
  ++(now.*GetParam().count);
  EXPECT_THAT(soak::CompareCounts(first, now), testing::StartsWith(std::string(GetParam().name) + ": "));
  // What shrinks was lost by somebody too.
  now.*GetParam().count -= 2;
  EXPECT_THAT(soak::CompareCounts(first, now), testing::StartsWith(std::string(GetParam().name) + ": "));
}

INSTANTIATE_TEST_SUITE_P(Each, JudgementCount,
                         testing::Values(CountCase{"descriptors", &Counts::descriptors},
                                         CountCase{"threads", &Counts::threads},
                                         CountCase{"semaphores", &Counts::semaphores},
                                         CountCase{"shared memory", &Counts::shared_memory},
                                         CountCase{"children", &Counts::children}, CountCase{"files", &Counts::files}),
                         [](const auto& one) {
                           std::string name = one.param.name;
                           std::replace(name.begin(), name.end(), ' ', '_');
                           return name;
                         });

TEST(Judgement, NamesBothCountsOfEach) {
  Counts now;
  now.threads = 3;
  EXPECT_EQ(soak::CompareCounts({}, now), "threads: 0 at the first quiet point, 3 now");
  now.files = 1;
  EXPECT_EQ(soak::CompareCounts({}, now),
            "threads: 0 at the first quiet point, 3 now; files: 0 at the first quiet point, 1 now");
}

TEST(Judgement, PassesWhatWavers) {
  EXPECT_EQ(soak::FindGrowth(Samples(22, 0, 35)), "");
  EXPECT_EQ(soak::FindGrowth(Samples(22, 0, -35)), "");
}

TEST(Judgement, FindsSlowGrowthUnderNoise) {
  // Three blocks in two seconds, in windows of five.
  EXPECT_THAT(soak::FindGrowth(Samples(22, 7, 10)), HasSubstr("number of blocks in use has grown by "));
  EXPECT_THAT(soak::FindGrowth(Samples(22, 7, -10)), HasSubstr("number of blocks in use has grown by "));
}

TEST(Judgement, FindsMemoryThatGrowsWithoutBlocks) {
  std::vector<Sample> samples = Samples(24, 0);
  for (std::size_t i = 0; i < samples.size(); ++i) samples[i].heap += static_cast<long>(i) * 50000;
  EXPECT_THAT(soak::FindGrowth(samples), testing::StartsWith("memory in use has grown by "));
}

TEST(Judgement, SaysNothingOfOnePeak) {
  for (const std::size_t place : {std::size_t{0}, std::size_t{12}, std::size_t{23}}) {
    std::vector<Sample> samples = Samples(24, 0);
    samples[place].blocks += 100000;
    samples[place].heap += 50L * 1024 * 1024;
    samples[place].resident += 50L * 1024 * 1024;
    EXPECT_EQ(soak::FindGrowth(samples), "") << place;
  }
}

TEST(Judgement, PassesWhatShrinks) { EXPECT_EQ(soak::FindGrowth(Samples(24, -1000)), ""); }

TEST(Judgement, FindsResidentMemory) {
  std::vector<Sample> samples = Samples(24, 0);
  for (std::size_t i = 0; i < samples.size(); ++i) samples[i].resident += static_cast<long>(i) * 2 * 1024 * 1024;
  EXPECT_THAT(soak::FindGrowth(samples), testing::StartsWith("resident memory has grown by "));
}

TEST(Judgement, FindsMemoryThatIsMappedOnly) {
  std::vector<Sample> samples = Samples(24, 0);
  for (std::size_t i = 0; i < samples.size(); ++i) samples[i].mapped += static_cast<long>(i) * 8 * 1024 * 1024;
  EXPECT_THAT(soak::FindGrowth(samples), testing::StartsWith("mapped memory has grown by "));
  samples = Samples(24, 0);
  for (std::size_t i = 0; i < samples.size(); ++i) samples[i].mappings += static_cast<long>(i) * 3;
  EXPECT_THAT(soak::FindGrowth(samples), testing::StartsWith("number of mappings has grown by "));
}

TEST(Judgement, HasNoTrendOfAFewSamples) {
  EXPECT_EQ(soak::FindGrowth({}), "");
  EXPECT_EQ(soak::FindGrowth(Samples(8, 10000000)), "");
  EXPECT_NE(soak::FindGrowth(Samples(9, 10000000)), "");
}

TEST(Judgement, SaysNoMoreThanItCompared) {
  EXPECT_THAT(soak::SayWhatWasCompared(0), testing::EndsWith("; too short to tell what grows"));
  EXPECT_EQ(soak::SayWhatWasCompared(1), soak::SayWhatWasCompared(0));
  EXPECT_EQ(soak::SayWhatWasCompared(2), "no count has changed, 2 quiet points compared; too short to tell of memory");
  EXPECT_THAT(soak::SayWhatWasCompared(8), testing::EndsWith("; too short to tell of memory"));
  EXPECT_EQ(soak::SayWhatWasCompared(9), "nothing grew, 9 quiet points compared");
}

TEST(Judgement, ListsWithoutATail) {
  std::string list;
  for (const char* const text : {"", "one", "", "two", ""}) soak::AddToList(&list, text);
  EXPECT_EQ(list, "one; two");
}

}  // namespace
