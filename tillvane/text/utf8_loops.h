#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>

#include <tillvane/text/utf8_paths.h>
#include <tillvane/text/utf8_plain.h>
#include <tillvane/text/utf8_sequence.h>

/// \file
/// The loops of a Utf8Path, over what a processor's lanes can do at once. Lanes are a class of static functions:
///
///   kWindow                 so many ASCII characters at once, an eighth to a half of a block
///   Others(from)            which bytes of a block are not ASCII, the first in the lowest bit
///   NarrowBlock(from, to)   a block of units to bytes; answers which are not ASCII
///   Widen(from, to)         a window of bytes to units
///   Narrow(from, to)        a window of units to bytes
///   DecodeThrees(from, to)  four sequences of three bytes, of 16 that may be read, to four units; answers whether
///                           they are that, and legal
///   DecodeFours(from, to)   four sequences of four bytes; the same
///   EncodeThrees(from, to)  four units to 12 bytes, stored as 16; answers whether they take three bytes each
///   EncodeFours(from, to)   four units to 16 bytes; the same
///   kVector                 so many bytes are looked at at once for counting
///   CountVectors(at, n, c)  how many sequences begin in n times so many bytes; answers whether each is as long as its
///                           first byte says. Three bytes before it may be read, where the last sequence may begin
///   Continuations(at)       which bytes of a vector continue a sequence
///
/// The loops are always inlined, so that a function for a newer processor has all of its loop compiled for it.
///
/// What is stored too much is overwritten by what is still to come: a good text has nothing changed behind its
/// terminator, and any text nothing behind its bound.

namespace text {

constexpr unsigned int kBlock = 64;

/// The marks of a block from a place on, which stands `taken` behind the first mark. Of one and two the next marks are
/// found before the place is known.
[[gnu::always_inline]] inline std::uint64_t MarksBehind(std::uint64_t marks, unsigned long place, unsigned long taken) {
  if (taken == 1) return marks & (marks - 1);
  if (taken == 2) return marks & (marks - 1) & ((marks & (marks - 1)) - 1);
  return place < kBlock ? marks >> place << place : 0;
}

/// The first mark of a block, or its end.
[[gnu::always_inline]] inline unsigned long NextMark(std::uint64_t marks) {
  return marks != 0 ? static_cast<unsigned long>(std::countr_zero(marks)) : kBlock;
}

/// Some ASCII characters, fewer than a block. \param is_early so much is still to come that whole windows may be stored
template <class Lanes, class Unit>
[[gnu::always_inline]] inline void WidenSome(const unsigned char* from, unsigned long count, bool is_early, Unit* to) {
  if (is_early) {
    for (unsigned long i = 0; i < count; i += Lanes::kWindow) Lanes::Widen(from + i, to + i);
  } else {
    std::copy_n(from, count, to);
  }
}

/// One sequence of a length that is known. \return bytes taken, 0 for what is not legal
template <class Unit>
[[gnu::always_inline]] inline unsigned long DecodeOne(const unsigned char* from, unsigned int length, Unit** to) {
  const std::uint32_t value = DecodeSequence(from, length);
  if (value == kIllegal) return 0;
  *(*to)++ = static_cast<Unit>(value);
  return length;
}

/// What is not ASCII: one sequence, or many of three or four bytes. Sixteen bytes may be read, also those at `last`.
/// \return bytes taken, 0 for what is not legal
template <class Lanes, class Unit>
[[gnu::always_inline]] inline unsigned long DecodeOthers(const unsigned char* from, const unsigned char* last,
                                                         Unit** to) {
  const unsigned char* const begin = from;
  if (*from < 0xC0) return 0;
  if (*from < 0xE0) return DecodeOne(from, 2, to);
  if (*from < 0xF0) {
    for (; from <= last && Lanes::DecodeThrees(from, *to); from += 12) *to += 4;
    return from != begin ? static_cast<unsigned long>(from - begin) : DecodeOne(from, 3, to);
  }
  if (*from >= 0xF8) return 0;
  for (; from <= last && Lanes::DecodeFours(from, *to); from += 16) *to += 4;
  return from != begin ? static_cast<unsigned long>(from - begin) : DecodeOne(from, 4, to);
}

template <class Lanes, class Unit>
[[gnu::always_inline]] inline Decoded<Unit> DecodeLoop(const unsigned char* from, const unsigned char* end, Unit* to) {
  // Bytes of the block that were taken with the one before. Blocks lie side by side nevertheless: a processor can then
  // look at the next one before it knows where this one ends.
  unsigned long at = 0;
  for (; end - from >= kBlock; from += kBlock, at -= kBlock) {
    if (at >= kBlock) continue;
    std::uint64_t others = Lanes::Others(from);
    if (others == 0 && at == 0) {
      for (; at < kBlock; at += Lanes::kWindow, to += Lanes::kWindow) Lanes::Widen(from + at, to);
      continue;
    }
    // A fourth of the bytes is the least number of units.
    const bool is_early = end - from >= kBlock + 4 * Lanes::kWindow;
    others = others >> at << at;
    while (at < kBlock) {
      const unsigned long next = NextMark(others);
      WidenSome<Lanes>(from + at, next - at, is_early, to);
      to += next - at;
      at = next;
      if (at == kBlock) break;
      const unsigned long taken = end - (from + at) >= 16 ? DecodeOthers<Lanes>(from + at, end - 16, &to) : 0;
      if (taken == 0) return {from + at, to};
      at += taken;
      others = MarksBehind(others, at, taken);
    }
  }
  return {from + at, to};
}

/// Where bytes are written, and how many may be.
struct Room {
  char* to;
  unsigned long left;

  void Take(unsigned long bytes) {
    to += bytes;
    left -= bytes;
  }
};

/// What is not ASCII: one unit, or many that take three or four bytes each. There is room for 16 bytes. Of many, four
/// units are still to come behind `last`, and with them the four bytes that are stored too much.
/// \return units taken
template <class Lanes, class Unit>
[[gnu::always_inline]] inline unsigned long EncodeOthers(const Unit* from, const Unit* last, Room* room,
                                                         bool* replaced) {
  const Unit* const begin = from;
  const std::int32_t given = NumberOf(*from);
  const std::int32_t value = Encodable(given);
  const unsigned int length = EncodedLength(value);
  if (length == 3) {
    for (; from <= last && room->left >= 16 && Lanes::EncodeThrees(from, room->to); from += 4) room->Take(12);
  } else if (length == 4) {
    for (; from <= last && room->left >= 16 && Lanes::EncodeFours(from, room->to); from += 4) room->Take(16);
  }
  if (from != begin) return static_cast<unsigned long>(from - begin);
  StoreSequence(value, length, room->to);
  room->Take(length);
  *replaced |= value != given;
  return 1;
}

/// Blocks of ASCII characters only, at most so many, to bytes. \param others marks of the block that ends them, else 0
template <class Lanes, class Unit>
[[gnu::always_inline]] inline unsigned long NarrowBlocks(const Unit* from, unsigned long most, char* to,
                                                         std::uint64_t* others) {
  *others = 0;
  for (unsigned long i = 0; i < most; ++i) {
    *others = Lanes::NarrowBlock(from + i * kBlock, to + i * kBlock);
    if (*others != 0) return i;
  }
  return most;
}

template <class Lanes, class Unit>
[[gnu::always_inline]] inline Encoded<Unit> EncodeLoop(const Unit* from, const Unit* end, char* to,
                                                       unsigned long left) {
  constexpr unsigned int kWindow = Lanes::kWindow;
  Room room{to, left};
  bool replaced = false;
  unsigned long at = 0;
  for (; end - from >= kBlock; from += kBlock, at -= kBlock) {
    if (at >= kBlock) continue;
    std::uint64_t others = 0;
    if (at == 0) {
      const unsigned long most = std::min(static_cast<unsigned long>(end - from), room.left) / kBlock;
      const unsigned long blocks = NarrowBlocks<Lanes>(from, most, room.to, &others);
      from += blocks * kBlock;
      room.Take(blocks * kBlock);
      if (others == 0) break;
    }
    // A unit is at least one byte: with another block behind it, what is stored too much is still to come.
    if (end - from < 2 * kBlock || room.left < kBlock) break;
    if (at != 0) others = Lanes::NarrowBlock(from, room.to);
    others = others >> at << at;
    while (at < kBlock) {
      const unsigned long next = NextMark(others);
      if (room.left < next - at + kWindow + 16) return {from + at, room.to, replaced};
      for (unsigned long i = at; i < next; i += kWindow) Lanes::Narrow(from + i, room.to + (i - at));
      room.Take(next - at);
      at = next;
      if (at == kBlock) break;
      const unsigned long taken = EncodeOthers<Lanes>(from + at, end - 8, &room, &replaced);
      at += taken;
      others = MarksBehind(others, at, taken);
    }
  }
  return {from + at, room.to, replaced};
}

inline void Step(Walked* walked) {
  walked->at += SequenceLength(*walked->at);
  ++walked->sequences;
}

/// Does no byte before a place say that a sequence goes on there?
inline bool IsClean(const unsigned char* text, const unsigned char* at) {
  return at - text >= 3 && at[-1] < 0xC0 && at[-2] < 0xE0 && at[-3] < 0xF0;
}

/// Back to the beginning of a sequence that goes on behind what was counted.
inline void StepBack(Walked* walked) {
  for (unsigned int i = 1; i <= 3; ++i) {
    if (SequenceLength(*(walked->at - i)) <= i) continue;
    walked->at -= i;
    --walked->sequences;
    return;
  }
}

/// What is left behind vectors and shorter than one: it is looked at with bytes before it, which do not count again.
template <class Lanes>
[[gnu::always_inline]] inline void WalkLast(const unsigned char* end, Walked* walked) {
  const unsigned char* const at = end - Lanes::kVector;
  unsigned long count;
  if (!Lanes::CountVectors(at, 1, &count)) return;
  const auto again = static_cast<int>(walked->at - at);
  const std::uint64_t continuations = Lanes::Continuations(at) & ((std::uint64_t{1} << again) - 1);
  walked->sequences += count - static_cast<unsigned long>(again - std::popcount(continuations));
  walked->at = end;
}

/// Counts many bytes at once as long as that can be done. Three bytes before `walked` may be read.
template <class Lanes>
[[gnu::always_inline]] inline void WalkVectors(const unsigned char* end, unsigned long most, Walked* walked) {
  const unsigned char* const begin = walked->at;
  // So many vectors that what a byte of them counts still fits it; then one by one up to what is wrong.
  unsigned long at_once = 64;
  for (;;) {
    const auto left = static_cast<unsigned long>(end - walked->at);
    const unsigned long vectors = std::min(std::min(left, most - walked->sequences) / Lanes::kVector, at_once);
    unsigned long count;
    if (vectors == 0) {
      if (left != 0 && left < Lanes::kVector && left <= most - walked->sequences) WalkLast<Lanes>(end, walked);
      break;
    }
    if (Lanes::CountVectors(walked->at, vectors, &count)) {
      walked->at += vectors * Lanes::kVector;
      walked->sequences += count;
    } else {
      if (vectors == 1) break;
      at_once = 1;
    }
  }
  if (walked->at != begin) StepBack(walked);
}

template <class Lanes>
[[gnu::always_inline]] inline Walked WalkLoop(const unsigned char* text, const unsigned char* end, unsigned long most) {
  Walked walked{text, 0};
  // Where vectors are refused something is wrong: so many sequences until they are tried again.
  for (long steps = 1; end - walked.at >= Lanes::kVector && walked.sequences < most; --steps) {
    Step(&walked);
    if (steps > 1 || end - walked.at < Lanes::kVector || !IsClean(text, walked.at)) continue;
    WalkVectors<Lanes>(end, most, &walked);
    steps = Lanes::kVector;
  }
  const Walked rest = PlainLoops::Walk(walked.at, end, most - walked.sequences);
  return {rest.at, walked.sequences + rest.sequences};
}

/// The functions of a path. Lanes for a newer processor have them written out.
template <class Lanes>
struct Loops {
  template <class Unit>
  static Decoded<Unit> Decode(const unsigned char* from, const unsigned char* end, Unit* to) {
    return DecodeLoop<Lanes>(from, end, to);
  }
  template <class Unit>
  static Encoded<Unit> Encode(const Unit* from, const Unit* end, char* to, unsigned long room) {
    return EncodeLoop<Lanes>(from, end, to, room);
  }
  static Walked Walk(const unsigned char* text, const unsigned char* end, unsigned long most) {
    return WalkLoop<Lanes>(text, end, most);
  }
};

}  // namespace text
