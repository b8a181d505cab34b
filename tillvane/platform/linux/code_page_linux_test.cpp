#include <tillvane/platform/code_page.h>

#include <gtest/gtest.h>
#include <unicode/ucnv.h>

namespace {

TEST(CodePage, EveryByteOfWindows1252IsAUnit) {
  char bytes[256];
  for (int i = 0; i < 256; ++i) bytes[i] = static_cast<char>(i);
  unsigned short units[256];
  platform::UnitsFromWindows1252(bytes, 256, units);

  // The five that mean nothing are the controls of the same numbers for ICU too.
  UErrorCode status = U_ZERO_ERROR;
  UConverter* const converter = ucnv_open("windows-1252", &status);
  UChar expected[256];
  ASSERT_EQ(ucnv_toUChars(converter, expected, 256, bytes, 256, &status), 256);
  ucnv_close(converter);
  for (int i = 0; i < 256; ++i) EXPECT_EQ(units[i], expected[i]) << i;
}

TEST(CodePage, UnitsBelow256AreIso88591) {
  unsigned short units[256];
  for (unsigned int i = 0; i < 256; ++i) units[i] = static_cast<unsigned short>(i);
  char bytes[256];
  ASSERT_EQ(platform::Iso88591FromUnits(units, 256, bytes), 256U);
  for (int i = 0; i < 256; ++i) EXPECT_EQ(static_cast<unsigned char>(bytes[i]), i);
}

TEST(CodePage, OtherUnitsAreNot) {
  for (const char16_t unit : {u'\u0100', u'\u0152', u'\u20AC', u'\uFEFF', u'\uFFFF'}) {
    const unsigned short units[] = {'a', unit};
    char bytes[2];
    EXPECT_EQ(platform::Iso88591FromUnits(units, 2, bytes), 0U) << static_cast<int>(unit);
    EXPECT_EQ(platform::Iso88591FromUnits(units, 1, bytes), 1U) << static_cast<int>(unit);
    EXPECT_EQ(bytes[0], 'a');
  }
}

TEST(CodePage, NothingOfNothing) {
  platform::UnitsFromWindows1252("", 0, nullptr);
  EXPECT_EQ(platform::Iso88591FromUnits(nullptr, 0, nullptr), 0U);
}

}  // namespace
