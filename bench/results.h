#pragma once

/// \file
/// What a run has shown: kept while it is printed, counted at the end, and written down for the report.

#include <array>
#include <chrono>
#include <string>
#include <vector>

namespace bench {

/// Ours through a peer's: of the medians, and of single repetitions, each of ours with each of the peer's, the least,
/// the quartiles and the most. The ratio of medians always lies between the quartiles.
struct Ratio {
  double of_medians = 0, least = 0, lower = 0, upper = 0, most = 0;
};

/// The repetitions run in random order: none of ours belongs to one of the peer's.
Ratio RatioOf(const std::vector<double>& ours, const std::vector<double>& peer);

/// What a peer took, and ours through it.
struct PeerResult {
  std::string name;
  double nanoseconds = 0;  ///< median for an item
  Ratio ratio;
  double goal = 0;        ///< the most that the ratio of medians may be; 0 for no goal
  std::string note = {};  ///< for a goal that is missed: what is known about it
  bool is_limit = false;  ///< what no way of doing it can leave out

  bool IsMet() const { return ratio.of_medians <= goal; }
};

/// One thing of ours beside its peers, by one clock.
struct Table {
  std::string title, clock;
  std::string name;        ///< of ours
  double nanoseconds = 0;  ///< of ours, median for an item
  std::vector<PeerResult> peers = {};
};

/// A number that has no peer, but a most that it may be.
struct Bound {
  std::string what, unit;
  double value = 0;
  double least = 0, most = 0;  ///< of single rounds or times; both the value where there is but one
  double goal = 0;
  std::string note = {};

  bool IsMet() const { return value <= goal; }
};

/// A measurement that this run does not make.
struct LeftOut {
  std::string what, why;
};

/// Why a quick run leaves something out.
inline constexpr const char* kQuickly = "a quick run leaves it out";

class Results {
 public:
  Results();

  /// What follows belongs to this family.
  void BeginFamily(const std::string& name);
  void Add(Table table);
  void Add(Bound bound);
  void NoteLeftOut(const std::string& what, const std::string& why);
  /// A measurement that gave no result: the run has failed.
  void NoteFailure(const std::string& what);

  void Print() const;
  bool HasFailed() const;
  /// As JSON, with what the machine is, and which family alone was asked for, if any.
  /// \return whether it could be written
  bool Write(const std::string& path, bool is_quick, const std::string& only) const;

 private:
  struct Family {
    std::string name;
    std::vector<Table> tables = {};
    std::vector<Bound> bounds = {};
    std::vector<LeftOut> left_out = {};
    std::vector<std::string> failures = {};
  };

  Family& Current();

  const std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
  const std::array<double, 3> load_at_begin_;
  std::vector<Family> families_;
};

double Median(std::vector<double> values);

/// The value that so many in a hundred do not exceed; 0 of none.
double Percentile(std::vector<double> values, double percent);

}  // namespace bench
