// Formats and arguments: each conversion beside what the C library makes of it, in a buffer and in a growing text; then
// formats of any bytes.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include <tillvane/text/LStringFormat.h>

#include "require.h"
#include "texts.h"

namespace {

using fuzz::Buffer;
using fuzz::Input;
using fuzz::Require;

struct Arguments {
  int number;
  double real;
  std::string text;
};

template <class T>
std::string AsLibrary(const std::string& digits, char letter, T value) {
  const std::string format = "%" + digits.substr(0, 257) + letter;
  char text[260] = "";
  return std::snprintf(text, sizeof text, format.c_str(), value) < 0 ? "" : text;
}

std::string Expected(const std::string& digits, char letter, const Arguments& arguments) {
  if (letter == '%') return "%";
  if (letter == 's') return arguments.text;
  if (letter == 'p') return AsLibrary(digits, letter, static_cast<const void*>(&arguments));
  if (std::strchr("efg", letter) != nullptr) return AsLibrary(digits, letter, arguments.real);
  if (std::strchr("diuxXoc", letter) != nullptr) return AsLibrary(digits, letter, arguments.number);
  if (letter == 'D') return AsLibrary(digits, 'd', arguments.number);
  if (letter == 'U') return AsLibrary(digits, 'u', arguments.number);
  if (letter == 'O') return AsLibrary(digits, 'o', arguments.number);
  if (letter == 'C') return AsLibrary(digits, 'C', arguments.number);
  if (std::strchr("EFGAaSn-+ #'*$hlLqjzt", letter) != nullptr) return "";
  return AsLibrary(digits, 'c', static_cast<int>(letter));
}

/// What one conversion makes of its argument in a target of any kind.
template <class F>
void WithArgument(char letter, const Arguments& arguments, F format) {
  if (letter == 's') {
    format(arguments.text.c_str());
  } else if (letter == 'p') {
    format(static_cast<const void*>(&arguments));
  } else if (std::strchr("efg", letter) != nullptr) {
    format(arguments.real);
  } else {
    format(arguments.number);
  }
}

void CheckBuffer(const std::string& format, const std::string& expected, std::size_t size, char letter,
                 const Arguments& arguments) {
  Buffer buffer(size);
  WithArgument(letter, arguments, [&](auto value) {
    const unsigned long length = tplsnprintf(buffer.Get(), size, format.c_str(), value);
    Require(length == std::min(expected.size(), size - 1), "the result is what was stored");
  });
  Require(buffer.Get() == expected.substr(0, size - 1), "a buffer holds what fits");
}

std::string Digits(Input& input) {
  std::string digits;
  for (unsigned int left = input.Number() % 16; left > 0; --left) digits += ".0123456789.052"[input.Number() % 15];
  if (input.Number() == 255) digits.insert(0, 300, '0');
  return digits;
}

double Real(Input& input) {
  std::uint64_t bits = 0;
  for (int i = 0; i < 8; ++i) bits = bits << 8 | input.Number();
  double value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

std::string Literal(std::string text) {
  std::erase(text, '%');
  return text;
}

void CheckConversions(Input& input) {
  LStringLong grown;
  std::string whole;
  for (unsigned int left = input.Number() % 8; left > 0; --left) {
    const std::string literal = Literal(input.Text());
    const std::string digits = Digits(input);
    const char letter = static_cast<char>(input.Number());
    if (letter == 0 || letter == '.' || (letter >= '0' && letter <= '9')) return;
    const Arguments arguments{static_cast<int>(input.Number() << 24 | input.Number()), Real(input), input.Text()};
    const std::string format = literal + "%" + digits + letter;
    const std::string expected = literal + Expected(digits, letter, arguments);
    CheckBuffer(format, expected, 1 + input.Number(), letter, arguments);
    whole += expected;
    WithArgument(letter, arguments, [&](auto value) {
      Require(tsprintfappend(grown, format.c_str(), value) == whole.size(), "the result is the whole length");
    });
    Require(grown.c_str() == whole, "a text grows by what is written");
    Require(grown.size() < grown.capacity(), "there is room for the terminator");
  }
}

/// Any bytes, with an int for each letter that takes one: letters that take something else are taken out.
void CheckAnyFormat(std::string format) {
  std::erase_if(format, [](char c) { return std::strchr("sefgp", c) != nullptr; });
  if (std::count(format.begin(), format.end(), '%') > 16) return;
  Buffer buffer(64);
  const unsigned long length =
      tplsnprintf(buffer.Get(), 64, format.c_str(), 1, -2, 3, -4, 5, -6, 7, -8, 9, -10, 11, -12, 13, -14, 15, -16);
  Require(length < 64 && std::memchr(buffer.Get(), 0, 64) != nullptr, "a buffer is terminated");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  CheckAnyFormat(input.Text());
  CheckConversions(input);
  return 0;
}
