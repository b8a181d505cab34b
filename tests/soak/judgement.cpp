#include "judgement.h"

#include <algorithm>
#include <cstddef>

namespace soak {

namespace {

std::string Compare(const char* name, int first, int now) {
  if (first == now) return "";
  return std::string(name) + ": " + std::to_string(first) + " at the first quiet point, " + std::to_string(now) +
         " now";
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
  return std::string(name) + " has grown by " + std::to_string(growth) + " from the first third to the last";
}

}  // namespace

std::string CompareCounts(const Counts& first, const Counts& now) {
  std::string changed;
  AddToList(&changed, Compare("descriptors", first.descriptors, now.descriptors));
  AddToList(&changed, Compare("threads", first.threads, now.threads));
  AddToList(&changed, Compare("semaphores", first.semaphores, now.semaphores));
  AddToList(&changed, Compare("shared memory", first.shared_memory, now.shared_memory));
  AddToList(&changed, Compare("children", first.children, now.children));
  AddToList(&changed, Compare("files", first.files, now.files));
  return changed;
}

bool Settling::IsSettledBy(const Counts& look) {
  if (first_ != nullptr) return look == *first_;
  alike_ = look == last_ ? alike_ + 1 : 1;
  last_ = look;
  return alike_ >= kLooksAlike;
}

std::string FindGrowth(const std::vector<Sample>& samples) {
  if (samples.size() < kFewestForMemory) return "";
  std::string grown;
  AddToList(&grown, FindGrowthOf("number of blocks in use", samples, &Sample::blocks, kBlocksBound));
  AddToList(&grown, FindGrowthOf("memory in use", samples, &Sample::heap, kHeapBound));
  AddToList(&grown, FindGrowthOf("resident memory", samples, &Sample::resident, kResidentBound));
  AddToList(&grown, FindGrowthOf("mapped memory", samples, &Sample::mapped, kMappedBound));
  AddToList(&grown, FindGrowthOf("number of mappings", samples, &Sample::mappings, kMappingsBound));
  return grown;
}

std::string SayWhatWasCompared(std::size_t samples) {
  if (samples < 2) return "no wrong result; too short to tell what grows";
  const std::string compared = std::to_string(samples) + " quiet points compared";
  if (samples < kFewestForMemory) return "no count has changed, " + compared + "; too short to tell of memory";
  return "nothing grew, " + compared;
}

void AddToList(std::string* list, const std::string& text) {
  if (!list->empty() && !text.empty()) *list += "; ";
  *list += text;
}

}  // namespace soak
