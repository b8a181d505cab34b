#include <gtest/gtest.h>

#include <tests/support/path_calls.h>

namespace {

TEST(PathSize, InTheUnitThatFits) {
  constexpr unsigned long long kilo = 1ULL << 10, mega = 1ULL << 20, giga = 1ULL << 30, tera = 1ULL << 40;
  struct {
    unsigned long long size;
    const char* text;
  } const cases[] = {
      {0, "0 Bytes"},        {1, "1 Bytes"},         {1023, "1023 Bytes"},     {kilo, "1 KB"},
      {1536, "1 KB"},        {2047, "1 KB"},         {2048, "2 KB"},           {1048575, "1023 KB"},
      {mega, "1 MB"},        {2 * mega - 1, "1 MB"}, {giga - 1, "1023 MB"},    {giga, "1 GB"},
      {tera - 1, "1023 GB"}, {tera, "1 TB"},         {1024 * tera, "1024 TB"}, {1ULL << 63, "8388608 TB"},
      {~0ULL, "16777215 TB"}};
  for (const auto& one : cases) {
    const support::reference::PathAnswer answer{one.text, std::string(one.text).size()};
    EXPECT_EQ(support::calls::SizeText(one.size), answer) << one.size;
  }
}

}  // namespace
