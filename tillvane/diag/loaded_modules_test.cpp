#include <tillvane/diag/loaded_modules.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace {

using platform::LoadedModule;

std::uintptr_t AddressOf(void (*function)()) { return reinterpret_cast<std::uintptr_t>(function); }

const LoadedModule* FindAgain(std::uintptr_t address) {
  diag::NoteLoadedModules();
  return diag::FindLoadedModule(address);
}

TEST(LoadedModules, HaveThePlacesOfTheirFunctions) {
  const LoadedModule* const own = FindAgain(AddressOf(&diag::NoteLoadedModules));
  ASSERT_NE(own, nullptr);
  const LoadedModule* const library = diag::FindLoadedModule(reinterpret_cast<std::uintptr_t>(&std::snprintf));
  ASSERT_NE(library, nullptr);
  for (const LoadedModule* module : {own, library}) {
    EXPECT_LE(module->base, module->begin);
    EXPECT_LT(module->begin, module->end);
    EXPECT_EQ(module->path[0], '/') << module->path;
  }
  EXPECT_NE(std::string(own->path), library->path);
  EXPECT_GT(library->build_id_size, 0U);
  EXPECT_LE(library->build_id_size, sizeof library->build_id);
}

TEST(LoadedModules, EndWhereTheyEnd) {
  const LoadedModule* const own = FindAgain(AddressOf(&diag::NoteLoadedModules));
  ASSERT_NE(own, nullptr);
  EXPECT_EQ(diag::FindLoadedModule(own->begin), own);
  EXPECT_EQ(diag::FindLoadedModule(own->end - 1), own);
  EXPECT_NE(diag::FindLoadedModule(own->end), own);
  EXPECT_NE(diag::FindLoadedModule(own->begin - 1), own);
  EXPECT_EQ(diag::FindLoadedModule(0), nullptr);
  EXPECT_EQ(diag::FindLoadedModule(UINTPTR_MAX), nullptr);
}

// Each host's thread may ask again.
TEST(LoadedModules, AreNotedOnce) {
  const LoadedModule* const first = FindAgain(AddressOf(&diag::NoteLoadedModules));
  for (int i = 0; i < 1000; ++i) ASSERT_EQ(FindAgain(AddressOf(&diag::NoteLoadedModules)), first) << i;
}

}  // namespace
