#include <gtest/gtest.h>

#include <tillvane/files/LFile.h>

namespace {

TEST(FileExtensionList, HoldsWholeExtensionsInAnyCase) {
  const char* list[] = {".jpg", ".PNG", "gif", "", ".\xC3\x84", nullptr, ".txt"};
  const struct {
    const char* extension;
    int found;
  } cases[] = {{".jpg", 1}, {".JPG", 1},  {".png", 1}, {"gif", 1},       {".gif", 0},      {"jpg", 0},
               {".jp", 0},  {".jpgx", 0}, {"", 1},     {".\xC3\x84", 1}, {".\xC3\xA4", 0}, {".txt", 0}};
  for (const auto& one : cases) EXPECT_EQ(LIsFileExtensionInList(list, one.extension), one.found) << one.extension;
}

TEST(FileExtensionList, OfNothingHoldsNothing) {
  const char* list[] = {nullptr};
  EXPECT_EQ(LIsFileExtensionInList(list, ""), 0);
  EXPECT_EQ(LIsFileExtensionInList(list, ".jpg"), 0);
}

TEST(FileExtensionList, OnlyLettersFromAToZHaveTwoCases) {
  const char* letters[] = {"abcdefghijklmnopqrstuvwxyz", nullptr};
  EXPECT_EQ(LIsFileExtensionInList(letters, "ABCDEFGHIJKLMNOPQRSTUVWXYZ"), 1);
  const char* others[] = {"`", "{", "\xE4", nullptr};
  for (const char* other : {"@", "[", "\xC4"}) EXPECT_EQ(LIsFileExtensionInList(others, other), 0) << other;
}

}  // namespace
