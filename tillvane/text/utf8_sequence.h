#pragma once

#include <bit>
#include <cstdint>

/// \file
/// One UTF-8 sequence at a time.

namespace text {

/// Bytes of the sequence that this byte begins, by the byte alone. A continuation byte counts as one of its own.
constexpr unsigned int SequenceLength(unsigned char lead) {
  if (lead < 0xC0) return 1;
  const auto marks = static_cast<unsigned int>(std::countl_one(lead));
  return marks < 6 ? marks : 6;
}

constexpr std::uint32_t kReplacement = 0xFFFD;
constexpr std::uint32_t kIllegal = 0xFFFFFFFF;

constexpr bool IsContinuation(unsigned char byte) { return (byte & 0xC0) == 0x80; }

/// The value of the sequence of `length` bytes, kIllegal for what is none. Nothing behind the first byte that does not
/// continue it is read, so never anything behind a terminator.
///
/// The value alone shows an overlong form, a surrogate or too large a number: together these are the lead bytes 0xC0,
/// 0xC1, from 0xF5, and the second bytes that 0xE0, 0xED, 0xF0 and 0xF4 do not allow.
inline std::uint32_t DecodeSequence(const unsigned char* bytes, unsigned int length) {
  const std::uint32_t lead = bytes[0];
  if (length == 1) return lead < 0x80 ? lead : kIllegal;
  if (length > 4 || !IsContinuation(bytes[1])) return kIllegal;
  std::uint32_t value = bytes[1] & 0x3Fu;
  if (length == 2) {
    value |= (lead & 0x1F) << 6;
    return value >= 0x80 ? value : kIllegal;
  }
  if (!IsContinuation(bytes[2])) return kIllegal;
  value = value << 6 | (bytes[2] & 0x3Fu);
  if (length == 3) {
    value |= (lead & 0xF) << 12;
    return value >= 0x800 && (value & 0xF800) != 0xD800 ? value : kIllegal;
  }
  if (!IsContinuation(bytes[3])) return kIllegal;
  value = (lead & 0x7) << 18 | value << 6 | (bytes[3] & 0x3Fu);
  return value >= 0x10000 && value <= 0x10FFFF ? value : kIllegal;
}

// A unit as the number that encoding goes by: with a sign, also where `wchar_t` has none.
constexpr std::int32_t NumberOf(wchar_t unit) { return static_cast<std::int32_t>(unit); }
constexpr std::int32_t NumberOf(unsigned short unit) { return unit; }

/// What is written for a value: the value, or U+FFFD for one that is too large.
constexpr std::int32_t Encodable(std::int32_t value) {
  return value < 0x110000 ? value : static_cast<std::int32_t>(kReplacement);
}

/// Bytes of an encodable value. A negative one has one byte.
constexpr unsigned int EncodedLength(std::int32_t value) {
  if (value <= 0x7F) return 1;
  if (value <= 0x7FF) return 2;
  return value <= 0xFFFF ? 3 : 4;
}

/// \param length EncodedLength() of the value
inline void StoreSequence(std::int32_t encodable, unsigned int length, char* to) {
  const auto value = static_cast<std::uint32_t>(encodable);
  const auto continuation = [=](int shift) { return static_cast<char>(0x80 | (value >> shift & 0x3F)); };
  switch (length) {
    case 1:
      to[0] = static_cast<char>(value);
      break;
    case 2:
      to[0] = static_cast<char>(0xC0 | value >> 6);
      to[1] = continuation(0);
      break;
    case 3:
      to[0] = static_cast<char>(0xE0 | value >> 12);
      to[1] = continuation(6);
      to[2] = continuation(0);
      break;
    default:
      to[0] = static_cast<char>(0xF0 | value >> 18);
      to[1] = continuation(12);
      to[2] = continuation(6);
      to[3] = continuation(0);
  }
}

}  // namespace text
