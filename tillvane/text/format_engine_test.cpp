#include <climits>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <ostream>
#include <string>

#include <gtest/gtest.h>

#include <tillvane/text/LStringFormat.h>

namespace {

/// What the engine makes of it, through a writer that has room for everything.
__attribute__((noinline)) std::string Formatted(const char* format, ...) {
  char buffer[4096];
  LFixedLengthStringWriterTemplate<char> writer{buffer, 0, sizeof buffer};
  va_list arguments;
  va_start(arguments, format);
  const unsigned long length = tplprintf(writer, format, arguments);
  va_end(arguments);
  EXPECT_EQ(length, writer.length) << format;
  return {buffer, length};
}

struct IntCase {
  const char* format;
  int value;
  const char* expected;
};
void PrintTo(const IntCase& c, std::ostream* out) { *out << '"' << c.format << "\" of " << c.value; }

class FormatInt : public testing::TestWithParam<IntCase> {};

TEST_P(FormatInt, IsWritten) {
  // A marker behind it shows that exactly one int was taken.
  const std::string format = std::string(GetParam().format) + "|%d";
  EXPECT_EQ(Formatted(format.c_str(), GetParam().value, 77), std::string(GetParam().expected) + "|77") << format;
}

INSTANTIATE_TEST_SUITE_P(Letters, FormatInt,
                         testing::Values(IntCase{"%d", 0, "0"}, IntCase{"%d", 42, "42"}, IntCase{"%d", -42, "-42"},
                                         IntCase{"%d", INT_MAX, "2147483647"}, IntCase{"%d", INT_MIN, "-2147483648"},
                                         IntCase{"%i", -7, "-7"}, IntCase{"%D", -7, "-7"},
                                         IntCase{"%u", -1, "4294967295"}, IntCase{"%U", 100, "100"},
                                         IntCase{"%x", 0xBEEF, "beef"}, IntCase{"%X", 0xBEEF, "BEEF"},
                                         IntCase{"%x", -1, "ffffffff"}, IntCase{"%x", 0, "0"}, IntCase{"%o", 8, "10"},
                                         IntCase{"%O", -1, "37777777777"}, IntCase{"%c", 'A', "A"},
                                         IntCase{"%c", 0x141, "A"}, IntCase{"%c", 0, ""}));

INSTANTIATE_TEST_SUITE_P(
    WidthAndPrecision, FormatInt,
    testing::Values(IntCase{"%5d", 42, "   42"}, IntCase{"%5d", -42, "  -42"}, IntCase{"%1d", 12345, "12345"},
                    IntCase{"%05d", 42, "00042"}, IntCase{"%05d", -42, "-0042"}, IntCase{"%02d", -42, "-42"},
                    IntCase{"%.5d", 42, "00042"}, IntCase{"%.5d", -42, "-00042"}, IntCase{"%8.5d", -42, "  -00042"},
                    IntCase{"%08.5d", 42, "   00042"}, IntCase{"%.0d", 0, ""}, IntCase{"%.d", 0, ""},
                    IntCase{"%.0d", 5, "5"}, IntCase{"%3.d", 0, "   "}, IntCase{"%03.d", 0, "   "},
                    IntCase{"%6x", 0xAB, "    ab"}, IntCase{"%06X", 0xAB, "0000AB"}, IntCase{"%.4o", 8, "0010"},
                    IntCase{"%3c", 'A', "  A"}, IntCase{"%3c", 0, "  "}, IntCase{"%.9c", 'A', "A"},
                    IntCase{"%0d", 3, "3"}, IntCase{"%.1u", 0, "0"}));

// A flag, a length and '*' are no such things here: each takes an int, writes nothing, and what follows is literal
// text.
INSTANTIATE_TEST_SUITE_P(NoFlagsAndNoLengths, FormatInt,
                         testing::Values(IntCase{"%-5d", 42, "5d"}, IntCase{"%+d", 42, "d"}, IntCase{"% d", 42, "d"},
                                         IntCase{"%#x", 42, "x"}, IntCase{"%'d", 42, "d"}, IntCase{"%*d", 42, "d"},
                                         IntCase{"%.*f", 42, "f"}, IntCase{"%ld", 42, "d"}, IntCase{"%lld", 42, "ld"},
                                         IntCase{"%hd", 42, "d"}, IntCase{"%hhu", 42, "hu"}, IntCase{"%Lf", 42, "f"},
                                         IntCase{"%qd", 42, "d"}, IntCase{"%jd", 42, "d"}, IntCase{"%zu", 42, "u"},
                                         IntCase{"%td", 42, "d"}, IntCase{"%1$d", 42, "d"}, IntCase{"%5-d", 42, "d"},
                                         IntCase{"%12ld", 42, "d"}));

INSTANTIATE_TEST_SUITE_P(LettersOfOtherArguments, FormatInt,
                         testing::Values(IntCase{"%E", 42, ""}, IntCase{"%F", 42, ""}, IntCase{"%G", 42, ""},
                                         IntCase{"%A", 42, ""}, IntCase{"%a", 42, ""}, IntCase{"%S", 42, ""},
                                         IntCase{"%n", 42, ""}, IntCase{"%9.3E", 42, ""}, IntCase{"%5n", 42, ""}));

INSTANTIATE_TEST_SUITE_P(OtherCharacters, FormatInt,
                         testing::Values(IntCase{"%y", 42, "y"}, IntCase{"%m", 42, "m"}, IntCase{"%I", 42, "I"},
                                         IntCase{"%!", 42, "!"}, IntCase{"%4y", 42, "   y"}, IntCase{"%\n", 42, "\n"},
                                         IntCase{"%\xC3\xA9", 42, "\xC3\xA9"}, IntCase{"%C", 'A', "A"}));

TEST(FormatInt, EveryOtherCharacterTakesOneInt) {
  const std::string others = "sefgpdiuxXoc%DUOEFGAaSnC-+ #'*$hlLqjzt.0123456789";
  for (int c = 1; c < 256; ++c) {
    const char letter = static_cast<char>(c);
    if (others.find(letter) != std::string::npos) continue;
    const char format[] = {'%', letter, '|', '%', 'd', 0};
    EXPECT_EQ(Formatted(format, 42, 77), std::string(1, letter) + "|77") << "character " << c;
  }
}

struct DoubleCase {
  const char* format;
  double value;
  const char* expected;
};
void PrintTo(const DoubleCase& c, std::ostream* out) { *out << '"' << c.format << "\" of " << c.value; }

class FormatDouble : public testing::TestWithParam<DoubleCase> {};

TEST_P(FormatDouble, IsWritten) {
  const std::string format = std::string(GetParam().format) + "|%d";
  EXPECT_EQ(Formatted(format.c_str(), GetParam().value, 77), std::string(GetParam().expected) + "|77") << format;
}

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

INSTANTIATE_TEST_SUITE_P(
    Letters, FormatDouble,
    testing::Values(
        DoubleCase{"%5.2f", 3.14159, " 3.14"}, DoubleCase{"%f", 0.0, "0.000000"}, DoubleCase{"%f", -0.0, "-0.000000"},
        DoubleCase{"%f", -1.5, "-1.500000"}, DoubleCase{"%.0f", 0.5, "0"}, DoubleCase{"%.0f", 1.5, "2"},
        DoubleCase{"%.0f", 2.5, "2"}, DoubleCase{"%.f", 3.7, "4"}, DoubleCase{"%.2f", 0.125, "0.12"},
        DoubleCase{"%.2f", 0.375, "0.38"}, DoubleCase{"%.1f", 0.25, "0.2"}, DoubleCase{"%.1f", 0.35, "0.3"},
        DoubleCase{"%.2f", 999.995, "1000.00"}, DoubleCase{"%.3f", 9.9996, "10.000"},
        DoubleCase{"%08.3f", -3.14159, "-003.142"}, DoubleCase{"%8.3f", -3.14159, "  -3.142"},
        DoubleCase{"%.17f", 0.1, "0.10000000000000001"}, DoubleCase{"%.20f", 0.1, "0.10000000000000000555"},
        DoubleCase{"%.1f", 9007199254740992.0, "9007199254740992.0"},
        DoubleCase{"%.0f", 9007199254740993.0, "9007199254740992"}, DoubleCase{"%.0f", 1e22, "10000000000000000000000"},
        DoubleCase{"%.3f", 5e-324, "0.000"}, DoubleCase{"%e", 12345.678, "1.234568e+04"},
        DoubleCase{"%.2e", 1e-300, "1.00e-300"}, DoubleCase{"%12.3e", -0.00012347, "  -1.235e-04"},
        DoubleCase{"%.0e", 15.0, "2e+01"}, DoubleCase{"%g", 0.0001, "0.0001"}, DoubleCase{"%g", 0.00001, "1e-05"},
        DoubleCase{"%g", 1e6, "1e+06"}, DoubleCase{"%g", 123456.0, "123456"}, DoubleCase{"%.3g", 1234.5, "1.23e+03"},
        DoubleCase{"%.0g", 25.0, "2e+01"}, DoubleCase{"%010g", -2.5, "-0000002.5"}, DoubleCase{"%f", kInfinity, "inf"},
        DoubleCase{"%6.2f", -kInfinity, "  -inf"}, DoubleCase{"%06g", kInfinity, "   inf"},
        DoubleCase{"%e", kNan, "nan"}));

TEST(FormatDouble, LargestIsCutAtTheLengthOfOneConversion) {
  char whole[400];
  std::snprintf(whole, sizeof whole, "%.0f", std::numeric_limits<double>::max());
  EXPECT_EQ(Formatted("%f", std::numeric_limits<double>::max()), std::string(whole, 259));
}

TEST(FormatText, IsWrittenWholeWhateverWidthAndPrecisionSay) {
  EXPECT_EQ(Formatted("<%s>", "text"), "<text>");
  EXPECT_EQ(Formatted("<%.3s>", "text"), "<text>");
  EXPECT_EQ(Formatted("<%10s>", "text"), "<text>");
  EXPECT_EQ(Formatted("<%s>", ""), "<>");
  const std::string text(1000, 'x');
  EXPECT_EQ(Formatted("%s", text.c_str()), text);
}

TEST(FormatText, NullWritesNothingAndIsTaken) {
  EXPECT_EQ(Formatted("<%s|%d>", static_cast<const char*>(nullptr), 5), "<|5>");
}

TEST(FormatText, SignsThatAreNoLettersDoNotReachIt) { EXPECT_EQ(Formatted("%-s", 42), "s"); }

TEST(FormatPercent, IsOnePercentAndTakesNothing) {
  EXPECT_EQ(Formatted("100%% of %d", 3), "100% of 3");
  EXPECT_EQ(Formatted("%5%|%d", 3), "%|3");
  EXPECT_EQ(Formatted("%.2%%d", 3), "%3");
}

TEST(FormatPercent, AtTheEndWritesNothing) {
  EXPECT_EQ(Formatted("ab%"), "ab");
  EXPECT_EQ(Formatted("ab%5"), "ab");
  EXPECT_EQ(Formatted("ab%5.2"), "ab");
}

TEST(FormatPointer, LooksAsTheCLibraryWritesIt) {
  const void* const values[] = {nullptr, &values, "text"};
  for (const void* value : values) {
    char expected[64];
    std::snprintf(expected, sizeof expected, "%p", value);
    EXPECT_EQ(Formatted("%p", value), expected);
    std::snprintf(expected, sizeof expected, "%30p", value);
    EXPECT_EQ(Formatted("%30p|%d", value, 5), std::string(expected) + "|5");
  }
}

TEST(FormatLiteral, IsCopiedAtAnyLength) {
  for (std::size_t length = 0; length < 70; ++length) {
    const std::string text(length, 'x');
    EXPECT_EQ(Formatted(text.c_str()), text);
    std::string format = text, expected = text;
    format.append("%d").append(text);
    expected.append("7").append(text);
    EXPECT_EQ(Formatted(format.c_str(), 7), expected);
  }
}

TEST(FormatLiteral, BytesOfUtf8StandForThemselves) {
  EXPECT_EQ(Formatted("\xC3\xA9%d\xE2\x82\xAC", 7),
            "\xC3\xA9"
            "7"
            "\xE2\x82\xAC");
}

TEST(FormatDigits, FirstTwoHundredAndFiftySevenCount) {
  // 256 zeros and a five are kept: a width of five. The nine behind them is dropped.
  EXPECT_EQ(Formatted(("%" + std::string(256, '0') + "5d|%d").c_str(), 42, 77), "00042|77");
  EXPECT_EQ(Formatted(("%" + std::string(256, '0') + "59d|%d").c_str(), 42, 77), "00042|77");
  EXPECT_EQ(Formatted(("%" + std::string(257, '0') + "9d|%d").c_str(), 42, 77), "42|77");
  char expected[300];
  const std::string kept = "%" + std::string(257, '.') + "d";
  std::snprintf(expected, 260, kept.c_str(), 42);
  EXPECT_EQ(Formatted(("%" + std::string(5000, '.') + "d|%d").c_str(), 42, 77), std::string(expected) + "|77");
}

TEST(FormatDigits, WidthsBeyondOneConversionAreCut) {
  EXPECT_EQ(Formatted("%259d", 7), std::string(258, ' ') + "7");
  EXPECT_EQ(Formatted("%260d|", 7), std::string(259, ' ') + "|");
  EXPECT_EQ(Formatted("%300x|", 7), std::string(259, ' ') + "|");
  EXPECT_EQ(Formatted("%300D|", -7), std::string(259, ' ') + "|");
  EXPECT_EQ(Formatted("%258U|", 7), std::string(257, ' ') + "7|");
  EXPECT_EQ(Formatted("%258O|", 8), std::string(256, ' ') + "10|");
  EXPECT_EQ(Formatted("%258i|", 8), std::string(257, ' ') + "8|");
  EXPECT_EQ(Formatted("%0.300d|", 7), std::string(259, '0') + "|");
  EXPECT_EQ(Formatted("%259.1f", 0.5), std::string(256, ' ') + "0.5");
}

// From 257 to 261 characters, with a sign and without.
TEST(FormatDigits, LongDoublesAreCut) {
  for (const double magnitude : {1e55, 1e56, 1e57, 1e58, 1e59}) {
    for (const double value : {magnitude, -magnitude}) {
      char expected[300];
      std::snprintf(expected, 260, "%.200f", value);
      EXPECT_EQ(Formatted("%.200f|", value), std::string(expected) + "|") << value;
    }
  }
}

TEST(FormatDigits, WidthsThatNobodyCanHoldWriteNothing) {
  EXPECT_EQ(Formatted("%99999999999999999999d|%d", 42, 77), "|77");
  EXPECT_EQ(Formatted("%99999999999999999999.1f|%d", 42.0, 77), "|77");
}

TEST(FormatDigits, SecondPointIsTheCLibrarysToUnderstand) {
  char expected[64];
  const char* format = "%6..2d";
  std::snprintf(expected, sizeof expected, format, 42);
  EXPECT_EQ(Formatted(format, 42), expected);
}

TEST(FormatArguments, AreTakenInTheirOrder) {
  EXPECT_EQ(Formatted("%d %s %g %c %x %f %s", 1, "two", 3.5, '4', 5, 6.0, "seven"), "1 two 3.5 4 5 6.000000 seven");
  EXPECT_EQ(Formatted("%d%d%d%d%d%d%d%d%d%d", 1, 2, 3, 4, 5, 6, 7, 8, 9, 10), "12345678910");
  EXPECT_EQ(Formatted("%g%g%g%g%g%g%g%g%g%g", 1., 2., 3., 4., 5., 6., 7., 8., 9., 10.), "12345678910");
}

TEST(FormatNull, WritesNothing) { EXPECT_EQ(Formatted(nullptr), ""); }

}  // namespace
