// Numbers look as the C library writes them under the thread's locale and the thread's rounding.

#include <fenv.h>
#include <locale.h>
#include <stdlib.h>

#include <cstdio>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/temp_folder.h>
#include <tillvane/text/LStringFormat.h>

namespace {

const char* const kFormats[] = {"%f", "%5.2f", "%010.3f", "%.0f", "%.30f", "%e", "%12.4e", "%g", "%.3g", "%9g"};
const double kValues[] = {0.0, 3.14159, -3.14159, 0.125, 1.0 / 3, -2.5, 1e10, 1.5e200, 5e-324, 999.9999};

void ExpectAllAsTheCLibrary() {
  for (const char* format : kFormats) {
    for (const double value : kValues) {
      char expected[400];
      char actual[400];
      std::snprintf(expected, sizeof expected, format, value);
      tplsnprintf(actual, sizeof actual, format, value);
      EXPECT_EQ(std::string(actual), std::string(expected).substr(0, 259)) << format << " of " << value;
    }
  }
}

/// A locale made for this thread and this test. The folder that it is made in is gone afterwards.
class ThreadLocale {
 public:
  explicit ThreadLocale(const char* name) {
    const std::string command =
        "localedef -i " + std::string(name) + " -f UTF-8 " + folder_.Path() + "/" + name + ".UTF-8 >/dev/null 2>&1";
    if (std::system(command.c_str()) != 0) return;
    setenv("LOCPATH", folder_.Path().c_str(), 1);
    locale_ = newlocale(LC_ALL_MASK, (std::string(name) + ".UTF-8").c_str(), nullptr);
    unsetenv("LOCPATH");
    if (locale_ != nullptr) before_ = uselocale(locale_);
  }
  ~ThreadLocale() {
    if (locale_ == nullptr) return;
    uselocale(before_);
    freelocale(locale_);
  }
  ThreadLocale(const ThreadLocale&) = delete;
  ThreadLocale& operator=(const ThreadLocale&) = delete;
  bool IsThere() const { return locale_ != nullptr; }

 private:
  support::TempFolder folder_;
  locale_t locale_ = nullptr;
  locale_t before_ = nullptr;
};

TEST(FormatEnvironment, DecimalPointIsTheLocales) {
  const ThreadLocale german("de_DE");
  if (!german.IsThere()) GTEST_SKIP() << "no German locale could be made: Debian's package locales is missing";
  char text[20];
  tplsnprintf(text, sizeof text, "%5.2f %g %.1e", 3.14159, 0.5, 12.0);
  EXPECT_STREQ(text, " 3,14 0,5 1,2e+01");
  ExpectAllAsTheCLibrary();
}

TEST(FormatEnvironment, DecimalPointMayBeSeveralBytes) {
  const ThreadLocale pashto("ps_AF");
  if (!pashto.IsThere()) GTEST_SKIP() << "no Pashto locale could be made: Debian's package locales is missing";
  char text[20];
  tplsnprintf(text, sizeof text, "%.2f", 3.14159);
  EXPECT_STREQ(text,
               "3\xD9\xAB"
               "14");
  ExpectAllAsTheCLibrary();
}

TEST(FormatEnvironment, RoundingIsTheThreads) {
  for (const int rounding : {FE_TONEAREST, FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
    ASSERT_EQ(fesetround(rounding), 0);
    ExpectAllAsTheCLibrary();
    fesetround(FE_TONEAREST);
  }
  ASSERT_EQ(fesetround(FE_UPWARD), 0);
  char text[20];
  tplsnprintf(text, sizeof text, "%.1f", 0.01);
  fesetround(FE_TONEAREST);
  EXPECT_STREQ(text, "0.1");
}

}  // namespace
