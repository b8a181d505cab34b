#pragma once

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
  Counts counts;
};

/// \return what has grown or shrunk, "descriptors: 12 at the first quiet point, 13 now"; empty for nothing
std::string CompareCounts(const Counts& first, const Counts& now);

/// Between the first and the last third of the run the blocks in use may grow by so many: a list is longer where more
/// came together. A leak of one block three times a second is found in two minutes, however small the block.
inline constexpr long kBlocksBound = 200;
/// The same block takes more or less of the allocator's memory. For what grows without new blocks.
inline constexpr long kHeapBound = 512 * 1024;
/// The allocator gives memory back when it likes.
inline constexpr long kResidentBound = 16L * 1024 * 1024;

/// Looks at the trend of memory: the medians of the first and of the last third of the samples, so that a single one
/// says nothing. \return what has grown; empty for nothing, and for fewer than six samples
std::string FindGrowth(const std::vector<Sample>& samples);

}  // namespace soak
