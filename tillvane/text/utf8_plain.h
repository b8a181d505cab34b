#pragma once

#include <cstdint>
#include <cstring>

#include <tillvane/text/utf8_paths.h>
#include <tillvane/text/utf8_sequence.h>

namespace text {

/// A path in plain C++: eight bytes at once where they are of one kind.
struct PlainLoops {
  template <class Unit>
  static Decoded<Unit> Decode(const unsigned char* from, const unsigned char* end, Unit* to) {
    while (end - from >= 8) {
      if (AreAllBelow<0x80>(from)) {
        for (unsigned int i = 0; i < 8; ++i) *to++ = *from++;
        continue;
      }
      const unsigned int length = SequenceLength(*from);
      const std::uint32_t value = DecodeSequence(from, length);
      if (value == kIllegal) break;
      *to++ = static_cast<Unit>(value);
      from += length;
    }
    return {from, to};
  }

  /// Leaves everything to who calls it: one unit at a time is no slower here.
  template <class Unit>
  static Encoded<Unit> Encode(const Unit* from, const Unit*, char* to, unsigned long) {
    return {from, to, false};
  }

  static Walked Walk(const unsigned char* text, const unsigned char* end, unsigned long most) {
    Walked walked{text, 0};
    while (walked.at < end && walked.sequences < most) {
      if (end - walked.at >= 8 && most - walked.sequences >= 8 && AreAllBelow<0xC0>(walked.at)) {
        walked.at += 8;
        walked.sequences += 8;
      } else {
        walked.at += SequenceLength(*walked.at);
        ++walked.sequences;
      }
    }
    return walked;
  }

 private:
  template <unsigned int kBound>
  static bool AreAllBelow(const unsigned char* bytes) {
    static_assert(kBound == 0x80 || kBound == 0xC0);
    std::uint64_t word;
    std::memcpy(&word, bytes, sizeof word);
    if (kBound == 0xC0) word &= word << 1;
    return (word & 0x8080808080808080) == 0;
  }
};

}  // namespace text
