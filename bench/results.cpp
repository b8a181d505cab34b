#include "results.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <utility>

#include "machine.h"

namespace bench {

namespace {

using Json = nlohmann::ordered_json;

Json ToJson(const PeerResult& peer) {
  const Ratio& ratio = peer.ratio;
  Json json = {{"name", peer.name},         {"nanoseconds", peer.nanoseconds},
               {"ratio", ratio.of_medians}, {"least", ratio.least},
               {"lower", ratio.lower},      {"upper", ratio.upper},
               {"most", ratio.most},        {"is_limit", peer.is_limit}};
  if (peer.goal > 0) {
    json["goal"] = peer.goal;
    json["is_met"] = peer.IsMet();
    json["note"] = peer.note;
  }
  return json;
}

Json ToJson(const Table& table) {
  Json peers = Json::array();
  for (const PeerResult& peer : table.peers) peers.push_back(ToJson(peer));
  return {{"title", table.title},
          {"clock", table.clock},
          {"ours", {{"name", table.name}, {"nanoseconds", table.nanoseconds}}},
          {"peers", std::move(peers)}};
}

Json ToJson(const Bound& bound) {
  return {{"what", bound.what}, {"unit", bound.unit}, {"value", bound.value},    {"least", bound.least},
          {"most", bound.most}, {"goal", bound.goal}, {"is_met", bound.IsMet()}, {"note", bound.note}};
}

Json ToJson(const LeftOut& left_out) { return {{"what", left_out.what}, {"why", left_out.why}}; }

template <class T>
Json ToJson(const std::vector<T>& all) {
  Json json = Json::array();
  for (const T& one : all) json.push_back(ToJson(one));
  return json;
}

Json ToJson(const Machine& machine) {
  return {{"processors", machine.processors},
          {"kernel", machine.kernel},
          {"compiler", machine.compiler},
          {"c_library", machine.c_library},
          {"temporary_files", machine.temporary_files}};
}

}  // namespace

Ratio RatioOf(const std::vector<double>& ours, const std::vector<double>& peer) {
  std::vector<double> ratios;
  for (const double one : ours) {
    for (const double other : peer) ratios.push_back(one / other);
  }
  return {Median(ours) / Median(peer), Percentile(ratios, 0), Percentile(ratios, 25), Percentile(ratios, 75),
          Percentile(ratios, 100)};
}

double Median(std::vector<double> values) {
  if (values.empty()) return 0;
  std::sort(values.begin(), values.end());
  const std::size_t half = values.size() / 2;
  return values.size() % 2 == 1 ? values[half] : (values[half - 1] + values[half]) / 2;
}

double Percentile(std::vector<double> values, double percent) {
  if (values.empty()) return 0;
  std::sort(values.begin(), values.end());
  const double rank = percent / 100 * static_cast<double>(values.size() - 1);
  return values[static_cast<std::size_t>(rank + 0.5)];
}

Results::Results() : load_at_begin_(Load()) {}

void Results::BeginFamily(const std::string& name) { families_.push_back({.name = name}); }

Results::Family& Results::Current() { return families_.back(); }

void Results::Add(Table table) { Current().tables.push_back(std::move(table)); }

void Results::Add(Bound bound) { Current().bounds.push_back(std::move(bound)); }

void Results::NoteLeftOut(const std::string& what, const std::string& why) {
  Current().left_out.push_back({what, why});
}

void Results::NoteFailure(const std::string& what) { Current().failures.push_back(what); }

bool Results::HasFailed() const {
  return std::any_of(families_.begin(), families_.end(), [](const Family& family) { return !family.failures.empty(); });
}

void Results::Print() const {
  std::vector<std::string> missed;
  std::size_t goals = 0;
  const auto count = [&](const std::string& goal, bool is_met) {
    ++goals;
    if (!is_met) missed.push_back(goal);
  };
  for (const Family& family : families_) {
    for (const Table& table : family.tables) {
      for (const PeerResult& peer : table.peers) {
        if (peer.goal > 0) count(table.title + ": of " + peer.name, peer.IsMet());
      }
    }
    for (const Bound& bound : family.bounds) count(family.name + ": " + bound.what, bound.IsMet());
  }
  std::printf("\n%zu of %zu goals met\n", goals - missed.size(), goals);
  for (const std::string& goal : missed) std::printf("  missed: %s\n", goal.c_str());
  for (const Family& family : families_) {
    for (const std::string& failure : family.failures) std::printf("  could not be measured: %s\n", failure.c_str());
  }
}

bool Results::Write(const std::string& path, bool is_quick, const std::string& only) const {
  Json families = Json::array();
  for (const Family& family : families_) {
    families.push_back({{"name", family.name},
                        {"tables", ToJson(family.tables)},
                        {"bounds", ToJson(family.bounds)},
                        {"left_out", ToJson(family.left_out)},
                        {"failures", family.failures}});
  }
  const Json json = {{"is_quick", is_quick},
                     {"only", only},
                     {"machine", ToJson(ThisMachine())},
                     {"load_at_begin", load_at_begin_},
                     {"load_at_end", Load()},
                     {"seconds", std::chrono::duration<double>(std::chrono::steady_clock::now() - begin_).count()},
                     {"families", std::move(families)}};
  std::ofstream file(path, std::ios::binary);
  file << json.dump(1) << '\n';
  return file.flush().good();
}

}  // namespace bench
