#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>

#include <tillvane/files/line_end.h>
#include <tillvane/text/copy_short.h>

namespace files {

/// memcpy for lines, many of which are as short as the call is long: whole blocks, the last of which overlaps the one
/// before it.
inline void CopyLine(char* to, const char* from, std::size_t count) {
  constexpr std::size_t block = 32;
  if (count < block || count > 4 * block) return text::CopyShort(to, from, count);
  for (std::size_t i = 0; i + block < count; i += block) std::memcpy(to + i, from + i, block);
  std::memcpy(to + count - block, from + count - block, block);
}

/// Where a line goes that is stored as far as there is room.
class LineBuffer {
 public:
  LineBuffer(char* buffer, std::size_t size) : at_(buffer), room_(size != 0 ? size - 1 : 0), has_end_(size != 0) {}

  void Write(const char* characters, std::size_t count) {
    const std::size_t stored = std::min(count, room_);
    CopyLine(at_, characters, stored);
    at_ += stored;
    room_ -= stored;
  }
  void Terminate() {
    if (has_end_) *at_ = '\0';
  }

 private:
  char* at_;
  std::size_t room_;
  bool has_end_;
};

/// Reads a line without its end.
/// \param source  has bytes from `Begin()` to `End()`; `Drop` takes some of them away; `Refill`, called when there are
///                none, says whether there are again
/// \param partner_of  the character that belongs to a line's end when it follows the given one; NUL for none
/// \return 1 if a line was read, 0 if there was nothing
template <class Source, class Line, class PartnerOf>
int ReadLine(Source& source, Line& line, PartnerOf partner_of) {
  const auto has_bytes = [&] { return source.Begin() != source.End() || source.Refill(); };
  int result = 0;
  while (has_bytes()) {
    result = 1;
    const char* const begin = source.Begin();
    const char* const end = FindLineEnd(begin, source.End());
    const auto length = static_cast<std::size_t>(end - begin);
    line.Write(begin, length);
    if (end == source.End()) {
      source.Drop(length);
      continue;
    }
    const char partner = partner_of(*end);
    source.Drop(length + 1);
    if (partner != '\0' && has_bytes() && *source.Begin() == partner) source.Drop(1);
    break;
  }
  return result;
}

}  // namespace files
