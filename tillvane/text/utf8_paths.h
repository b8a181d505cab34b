#pragma once

#include <span>

/// \file
/// Long texts, many units at a time: what a processor can do for them.

namespace text {

/// Where a run over a text has come: always between two sequences.
template <class Unit>
struct Decoded {
  const unsigned char* from;
  Unit* to;
};
template <class Unit>
struct Encoded {
  const Unit* from;
  char* to;
  bool replaced;  ///< a value that is too large has become U+FFFD
};
struct Walked {
  const unsigned char* at;
  unsigned long sequences;
};

/// One way to do it. Each function goes as far as it likes: whoever calls it does the rest, one sequence at a time.
struct Utf8Path {
  const char* name;

  /// Decodes legal sequences that lie between `from` and `end`. It may store at most `end` - `from` units, of which
  /// those behind what is answered have no meaning.
  Decoded<wchar_t> (*decode_wide)(const unsigned char* from, const unsigned char* end, wchar_t* to);
  Decoded<unsigned short> (*decode_units)(const unsigned char* from, const unsigned char* end, unsigned short* to);

  /// Encodes units between `from` and `end` into at most `room` bytes; the same holds.
  Encoded<wchar_t> (*encode_wide)(const wchar_t* from, const wchar_t* end, char* to, unsigned long room);
  Encoded<unsigned short> (*encode_units)(const unsigned short* from, const unsigned short* end, char* to,
                                          unsigned long room);

  /// Goes over all sequences that begin before `end`, but `most` of them: the last one may reach behind `end`.
  Walked (*walk)(const unsigned char* text, const unsigned char* end, unsigned long most);
};

/// The ways that this processor knows, from plain C++ to the fastest.
std::span<const Utf8Path> Utf8Paths();
/// The fastest.
const Utf8Path& FastestUtf8Path();

// The conversions of LCharsets.h on a path of choice.

int DecodeUtf8(const Utf8Path& path, wchar_t* dst, const char* src, unsigned long size);
int DecodeUtf8(const Utf8Path& path, unsigned short* dst, const char* src, unsigned long size);
int EncodeUtf8(const Utf8Path& path, char* dst, const wchar_t* src, unsigned long size);
int EncodeUtf8(const Utf8Path& path, char* dst, const unsigned short* src, unsigned long size);
unsigned long CopyCharacters(const Utf8Path& path, char* dst, const char* src, unsigned long size);
unsigned long BytesOfCharacters(const Utf8Path& path, const char* text, unsigned long characters);
unsigned long CharactersInBytes(const Utf8Path& path, const char* text, unsigned long bytes);

}  // namespace text
