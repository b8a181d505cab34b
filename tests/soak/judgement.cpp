#include "judgement.h"

#include <algorithm>
#include <cstddef>

namespace soak {

namespace {

std::string Compare(const char* name, int first, int now) {
  if (first == now) return "";
  return std::string(name) + ": " + std::to_string(first) + " at the first quiet point, " + std::to_string(now) +
         " now; ";
}

long Median(std::vector<long> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

std::string FindGrowthOf(const char* name, const std::vector<Sample>& samples, long Sample::*value, long bound) {
  std::vector<long> values;
  for (const Sample& sample : samples) values.push_back(sample.*value);
  const auto third = static_cast<std::ptrdiff_t>(values.size() / 3);
  const long growth = Median({values.end() - third, values.end()}) - Median({values.begin(), values.begin() + third});
  if (growth <= bound) return "";
  return std::string(name) + " has grown by " + std::to_string(growth) + " from the first third to the last; ";
}

}  // namespace

std::string CompareCounts(const Counts& first, const Counts& now) {
  return Compare("descriptors", first.descriptors, now.descriptors) + Compare("threads", first.threads, now.threads) +
         Compare("semaphores", first.semaphores, now.semaphores) +
         Compare("shared memory", first.shared_memory, now.shared_memory) +
         Compare("children", first.children, now.children) + Compare("files", first.files, now.files);
}

std::string FindGrowth(const std::vector<Sample>& samples) {
  constexpr std::size_t fewest = 6;
  if (samples.size() < fewest) return "";
  return FindGrowthOf("number of blocks in use", samples, &Sample::blocks, kBlocksBound) +
         FindGrowthOf("memory in use", samples, &Sample::heap, kHeapBound) +
         FindGrowthOf("resident memory", samples, &Sample::resident, kResidentBound);
}

}  // namespace soak
