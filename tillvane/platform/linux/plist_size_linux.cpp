#include <tillvane/platform/linux/plist_size_linux.h>

#include <cstddef>
#include <cstdint>
#include <limits>

// The binary form, all numbers big-endian:
//
//   list      = "bplist00" object… offset-table trailer
//   object    = marker byte (kind in the high half, count in the low one), contents; a count of 15 is followed by a
//               marker 0x1N and 2^N bytes with the real count
//   contents  = of an array or a set (kinds 0xA and 0xC) `count` references, of a dictionary (0xD) twice as many
//   reference = number of an object, whose place is in the offset table
//   trailer   = 6 bytes, size of a place, size of a reference, then 8 bytes each: how many objects, which of them is
//   the
//               root, where the offset table begins

namespace platform {

namespace {

/// Applications of the largest kind have some thousand. Each is one level of nesting at most.
constexpr std::size_t kMostContainers = 4096;

/// For the binary form, whose nesting can be told exactly.
constexpr int kDeepest = 64;
constexpr std::uint64_t kMostBytes = std::uint64_t{4} * 1024 * 1024;

constexpr std::string_view kBinaryMark = "bplist00";
constexpr std::size_t kTrailerSize = 32;

std::size_t Count(std::string_view text, std::string_view word) {
  std::size_t count = 0;
  for (std::size_t at = text.find(word); at != std::string_view::npos; at = text.find(word, at + word.size())) ++count;
  return count;
}

/// Adds up what a binary list becomes when every reference is followed.
class BinarySize {
 public:
  explicit BinarySize(std::string_view data) : data_(data) {
    const std::size_t trailer = data.size() - kTrailerSize;
    place_size_ = Number(trailer + 6, 1);
    reference_size_ = Number(trailer + 7, 1);
    objects_ = Number(trailer + 8, 8);
    root_ = Number(trailer + 16, 8);
    table_ = Number(trailer + 24, 8);
  }

  bool IsModest() { return Add(root_, 0); }

 private:
  static constexpr std::uint64_t kNone = std::numeric_limits<std::uint64_t>::max();

  /// \return kNone where there is none: beyond the end, or of another size than a number has
  std::uint64_t Number(std::uint64_t at, std::uint64_t size) const {
    if (size == 0 || size > 8 || at > data_.size() || size > data_.size() - at) return kNone;
    std::uint64_t number = 0;
    for (std::uint64_t i = 0; i < size; ++i) number = number << 8 | static_cast<unsigned char>(data_[at + i]);
    return number;
  }

  /// A count that has bytes of its own, which are passed over.
  std::uint64_t LongCount(std::uint64_t* at) const {
    const std::uint64_t marker = Number(*at, 1);
    if (marker < 0x10 || marker > 0x13) return kNone;
    const std::uint64_t size = std::uint64_t{1} << (marker & 0xF);
    const std::uint64_t count = Number(*at + 1, size);
    *at += 1 + size;
    return count;
  }

  /// \return false when it is too much
  bool Add(std::uint64_t object, int depth) {
    if (object >= objects_ || object > data_.size() || table_ > data_.size() || depth > kDeepest) return false;
    std::uint64_t at = Number(table_ + object * place_size_, place_size_);
    const std::uint64_t marker = Number(at, 1);
    if (marker == kNone) return false;
    ++at;
    const std::uint64_t count = (marker & 0xF) == 0xF ? LongCount(&at) : marker & 0xF;
    if (count > data_.size()) return false;
    bytes_ += kNodeBytes + count;
    if (bytes_ > kMostBytes) return false;
    const std::uint64_t kind = marker >> 4;
    if (kind != 0xA && kind != 0xC && kind != 0xD) return true;
    return AddReferences(at, kind == 0xD ? 2 * count : count, depth + 1);
  }

  bool AddReferences(std::uint64_t at, std::uint64_t count, int depth) {
    for (std::uint64_t i = 0; i < count; ++i) {
      if (!Add(Number(at + i * reference_size_, reference_size_), depth)) return false;
    }
    return true;
  }

  /// About what a node takes beside its contents.
  static constexpr std::uint64_t kNodeBytes = 32;

  std::string_view data_;
  std::uint64_t place_size_;
  std::uint64_t reference_size_;
  std::uint64_t objects_;
  std::uint64_t root_;
  std::uint64_t table_;
  std::uint64_t bytes_ = 0;
};

}  // namespace

bool IsBinaryPlist(std::string_view data) { return data.starts_with(kBinaryMark); }

bool IsPlistModest(std::string_view data) {
  if (IsBinaryPlist(data)) return data.size() >= kBinaryMark.size() + kTrailerSize && BinarySize(data).IsModest();
  return Count(data, "<array") + Count(data, "<dict") <= kMostContainers;
}

}  // namespace platform
