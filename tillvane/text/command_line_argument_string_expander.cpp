#include <algorithm>
#include <array>
#include <cstddef>

#include <tillvane/text/LCommandLineArgumentStringExpander.h>
#include <tillvane/text/copy_short.h>

// The order and the widths of the fields are part of the binary interface.
struct LCommandLineArgumentStringExpanderLayout {
  static_assert(offsetof(LCommandLineArgumentStringExpander, cursor_) == 0);
  static_assert(offsetof(LCommandLineArgumentStringExpander, argument_) == sizeof(void*));
};

namespace {

// What ends a run of bytes that are kept as they are: outside quotes, inside, or both.
constexpr unsigned char kEndsPlain = 1, kEndsQuoted = 2;

constexpr auto kEnds = [] {
  std::array<unsigned char, 256> ends{};
  ends[' '] = kEndsPlain;
  for (const char c : {'\0', '"', '\\'}) ends[static_cast<unsigned char>(c)] = kEndsPlain | kEndsQuoted;
  return ends;
}();

const char* EndOfRun(const char* run, unsigned char ends) {
  while ((kEnds[static_cast<unsigned char>(*run)] & ends) == 0) ++run;
  return run;
}

const char* SkipBlanks(const char* at) {
  // As unsigned: a byte of 0x80 and above is no control character.
  while (*at != '\0' && static_cast<unsigned char>(*at) <= ' ') ++at;
  return at;
}

/// Twice the room each time, so that an argument of many pieces is not copied for each of them.
void Add(LStringLong& argument, const char* begin, std::size_t count) {
  const unsigned long length = argument.size(), size = length + count + 1;
  if (argument.capacity() < size) argument.GrowToSize(std::max(size, 2 * length));
  text::CopyShort(argument.data() + length, begin, count);
  argument.SetLength(length + count);
}

/// Reads an argument. \return where the next one begins
const char* Read(const char* at, LStringLong& argument) {
  unsigned char ends = kEndsPlain;
  for (;;) {
    const char* const run = at;
    at = EndOfRun(at, ends);
    Add(argument, run, static_cast<std::size_t>(at - run));
    if (*at == '\\') {
      const bool is_space = at[1] == ' ';
      Add(argument, at + (is_space ? 1 : 0), 1);
      at += is_space ? 2 : 1;
    } else if (*at == '"' && ends == kEndsPlain) {
      ends = kEndsQuoted;
      ++at;
    } else {
      return *at == '\0' ? at : at + 1;
    }
  }
}

}  // namespace

LCommandLineArgumentStringExpander::LCommandLineArgumentStringExpander(const char* commandLine)
    : cursor_(commandLine != nullptr ? commandLine : "") {}

bool LCommandLineArgumentStringExpander::NextArgument() {
  argument_.SetLength(0);
  cursor_ = Read(SkipBlanks(cursor_), argument_);
  return argument_.size() > 0;
}

unsigned long LCommandLineArgumentStringExpander::GetArgumentCount(const char* commandLine) const {
  LCommandLineArgumentStringExpander arguments(commandLine);
  arguments.NextArgument();
  unsigned long count = 0;
  while (arguments.NextArgument()) ++count;
  return count;
}
