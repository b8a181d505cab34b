// The engine beside the C library, where both know the same grammar: a million made-up formats and arguments for each
// kind of argument.

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/seeded.h>
#include <tillvane/text/LStringFormat.h>

namespace {

using support::Seeded;
using support::SeededCases;

std::string Literal(Seeded& seeded) {
  static constexpr char kAlphabet[] = "abc XYZ-+#.019,\xC3\xA9\n\t";
  std::string text;
  for (unsigned int left = seeded.Below(4) == 0 ? seeded.Below(40) : seeded.Below(4); left > 0; --left) {
    text += kAlphabet[seeded.Below(sizeof kAlphabet - 1)];
  }
  return text + (seeded.Below(16) == 0 ? "%%" : "");
}

/// A conversion with a width and a precision, or neither. No zeros before the width where `plain_width`: for `%c` they
/// mean nothing in the standard.
std::string Conversion(Seeded& seeded, const std::string& letters, bool plain_width = false) {
  std::string conversion = "%";
  if (seeded.Below(3) == 0) {
    if (!plain_width) conversion.append(seeded.Below(3), '0');
    if (seeded.Below(4) != 0) conversion += std::to_string(1 + seeded.Below(seeded.Below(8) == 0 ? 258 : 24));
  }
  if (seeded.Below(3) == 0) {
    conversion += '.';
    if (seeded.Below(4) != 0) conversion += std::to_string(seeded.Below(seeded.Below(8) == 0 ? 240 : 22));
  }
  return conversion + letters[seeded.Below(letters.size())];
}

int AnyInt(Seeded& seeded) {
  const auto bits = static_cast<std::uint32_t>(seeded.Bits());
  // Short numbers as often as long ones.
  return static_cast<std::int32_t>(seeded.Below(2) == 0 ? bits : bits >> seeded.Below(32)) *
         (seeded.Below(4) == 0 && bits != 0x80000000u ? -1 : 1);
}

/// Any bits, and the numbers that people print.
double AnyDouble(Seeded& seeded) {
  switch (seeded.Below(6)) {
    case 0:
      return std::bit_cast<double>(seeded.Bits());
    case 1:
      return static_cast<double>(AnyInt(seeded));
    case 2:
      return AnyInt(seeded) / 100.0;
    case 3:
      // Half-way cases, which are exact.
      return AnyInt(seeded) / static_cast<double>(1u << seeded.Below(24));
    case 4:
      return std::ldexp(static_cast<double>(seeded.Bits() >> 11), static_cast<int>(seeded.Below(120)) - 110);
    default:
      return AnyInt(seeded) * std::pow(10.0, static_cast<int>(seeded.Below(30)) - 15);
  }
}

/// How both format the same; a number that the engine would cut is passed over.
template <class... T>
void ExpectSame(const std::string& format, T... arguments) {
  char expected[2048];
  char actual[2048];
  const int length = std::snprintf(expected, sizeof expected, format.c_str(), arguments...);
  ASSERT_GE(length, 0) << format;
  const unsigned long ours = tplsnprintf(actual, sizeof actual, format.c_str(), arguments...);
  ASSERT_STREQ(actual, expected) << format;
  ASSERT_EQ(ours, static_cast<unsigned long>(length)) << format;
}

TEST(FormatBesideTheCLibrary, OneInt) {
  Seeded seeded(1);
  for (int i = 0; i < SeededCases() && !HasFatalFailure(); ++i) {
    ExpectSame(Literal(seeded) + Conversion(seeded, "diuxXo") + Literal(seeded), AnyInt(seeded));
  }
}

TEST(FormatBesideTheCLibrary, OneCharacter) {
  Seeded seeded(2);
  for (int i = 0; i < SeededCases() && !HasFatalFailure(); ++i) {
    ExpectSame(Literal(seeded) + Conversion(seeded, "c", true) + Literal(seeded),
               1 + static_cast<int>(seeded.Below(255)));
  }
}

TEST(FormatBesideTheCLibrary, OneDouble) {
  Seeded seeded(3);
  for (int i = 0; i < SeededCases() && !HasFatalFailure(); ++i) {
    const std::string conversion = Conversion(seeded, "ffeg");
    const double value = AnyDouble(seeded);
    // What does not fit one conversion is cut by the engine.
    if (std::snprintf(nullptr, 0, conversion.c_str(), value) < 260) ExpectSame(Literal(seeded) + conversion, value);
  }
}

TEST(FormatBesideTheCLibrary, SeveralArguments) {
  Seeded seeded(4);
  for (int i = 0; i < SeededCases() && !HasFatalFailure(); ++i) {
    const std::string text = Literal(seeded);
    ExpectSame(Literal(seeded) + Conversion(seeded, "diuxXo") + Literal(seeded) + "%s" + Conversion(seeded, "eg") +
                   "%p" + Literal(seeded) + Conversion(seeded, "diuxXo"),
               AnyInt(seeded), text.c_str(), AnyDouble(seeded), &text, AnyInt(seeded));
  }
}

// The rule by which they differ where a conversion is too long: the first 259 characters.
TEST(FormatBesideTheCLibrary, LongConversionsAreCut) {
  Seeded seeded(5);
  for (int i = 0; i < SeededCases() / 100 && !HasFatalFailure(); ++i) {
    const std::string conversion =
        "%" + std::to_string(seeded.Below(600)) + "." + std::to_string(seeded.Below(600)) + "f";
    const double value = AnyDouble(seeded);
    char expected[2048];
    char actual[2048];
    std::snprintf(expected, 260, conversion.c_str(), value);
    tplsnprintf(actual, sizeof actual, conversion.c_str(), value);
    ASSERT_STREQ(actual, expected) << conversion << " of " << value;
  }
}

}  // namespace
