#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace soak {

/// What must be the same at every quiet point.
struct Counts {
  int descriptors = 0;
  int threads = 0;
  int semaphores = 0;
  int shared_memory = 0;
  int children = 0;
  int files = 0;

  bool operator==(const Counts&) const = default;
};

/// What the process had at one quiet point. Memory in bytes.
struct Sample {
  long blocks = 0;    ///< allocated and not freed
  long heap = 0;      ///< their bytes
  long resident = 0;  ///< of the whole process, in memory
  long mapped = 0;    ///< of the whole process, in memory or not
  long mappings = 0;  ///< lines of the list of them
  Counts counts;
};

/// \return what has grown or shrunk, "descriptors: 12 at the first quiet point, 13 now; threads: ..."; empty for
/// nothing
std::string CompareCounts(const Counts& first, const Counts& now);

/// Whether what is looked at again and again has come to rest: a thread or a child that has ended may be seen for a
/// moment. At the first quiet point the counts have to stay the same for a few looks; later, they have to be the
/// first's.
class Settling {
 public:
  /// \param first the counts of the first quiet point; null at that one
  explicit Settling(const Counts* first) : first_(first) {}

  /// \return whether no further look is needed
  bool IsSettledBy(const Counts& look);

 private:
  static constexpr int kLooksAlike = 3;

  const Counts* const first_;
  Counts last_;
  int alike_ = 0;
};

/// Between the first and the last third of the run the blocks in use may grow by so many: a list is longer where more
/// came together. A leak of three blocks in two seconds is found in two minutes, however small the block. Each kind of
/// purchase comes somewhat more often.
inline constexpr long kBlocksBound = 80;
/// The same block takes more or less of the allocator's memory. For what grows without new blocks.
inline constexpr long kHeapBound = 512 * 1024;
/// The allocator gives memory back when it likes.
inline constexpr long kResidentBound = 16L * 1024 * 1024;
/// Stacks of threads that have ended are kept for the next ones, up to a bound.
inline constexpr long kMappedBound = 64L * 1024 * 1024;
inline constexpr long kMappingsBound = 40;

/// With fewer quiet points a third says too little.
inline constexpr std::size_t kFewestForMemory = 9;

/// Looks at the trend of memory: the medians of the first and of the last third of the samples, so that a single one
/// says nothing. \return what has grown; empty for nothing, and for fewer than kFewestForMemory
std::string FindGrowth(const std::vector<Sample>& samples);

/// \return what so many samples without growth show: of one nothing, of a few nothing of memory
std::string SayWhatWasCompared(std::size_t samples);

/// Adds one more thing to a list "one; two". Nothing is added for an empty text.
void AddToList(std::string* list, const std::string& text);

}  // namespace soak
