#include <tillvane/diag/signal_safe_text.h>

#include <gtest/gtest.h>

#include <climits>
#include <string>

namespace {

using Text = diag::SignalSafeText<64>;

TEST(SignalSafeText, WritesNumbersLikeTheCLibrary) {
  for (const long long number : {0LL, 1LL, 9LL, 10LL, -1LL, 4711LL, LLONG_MAX, LLONG_MIN}) {
    EXPECT_EQ(Text().AddDecimal(number).Get(), std::to_string(number));
  }
  EXPECT_STREQ(Text().AddAddress(0).Get(), "0x0");
  EXPECT_STREQ(Text().AddAddress(0x10).Get(), "0x10");
  EXPECT_STREQ(Text().AddAddress(ULLONG_MAX).Get(), "0xffffffffffffffff");
}

TEST(SignalSafeText, WritesBytes) {
  const unsigned char bytes[] = {0x00, 0x9F, 0xFF};
  EXPECT_STREQ(Text().AddBytes(bytes, 3).Get(), "009fff");
  EXPECT_STREQ(Text().AddBytes(bytes, 0).Get(), "");
}

TEST(SignalSafeText, ReadsAsFarAsItMay) {
  const char unterminated[] = {'a', 'b', 'c'};
  EXPECT_STREQ(Text().Add(unterminated, 3).Add('-').Add("d\0e", 3).Get(), "abc-d");
}

TEST(SignalSafeText, IsCutAndTerminated) {
  diag::SignalSafeText<6> text;
  EXPECT_STREQ(text.Get(), "");
  EXPECT_STREQ(text.Add("SIGNAL").Get(), "SIGNA");
  EXPECT_STREQ(text.AddDecimal(11).Get(), "SIGNA");
  EXPECT_EQ(text.Length(), 5U);
}

}  // namespace
