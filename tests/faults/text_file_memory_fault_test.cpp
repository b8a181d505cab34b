// Memory that ends under the text files. The definitions here take the place of the standard library's for everything
// that is linked into this program, which also looks for descriptors that a test leaves open.

#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <new>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/faults.h>
#include <tests/support/temp_folder.h>
#include <tillvane/text/LTextFile.h>

namespace {

// So many arrays are still allocated; negative for no limit.
int arrays_left = -1;

}  // namespace

void* operator new[](std::size_t size) {
  if (arrays_left == 0) {
    support::NoteFault("new", ENOMEM);
    throw std::bad_alloc();
  }
  if (arrays_left > 0) --arrays_left;
  void* const memory = std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }

namespace {

using Loader = int (*)(const char*, LStringLong&);
constexpr Loader kLoaders[] = {LLoadText, LLoadTextUnicode, LLoadTextAsUTF16, LLoadTextAutoChar};

std::string Contents(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// Runs a function while so many arrays can be allocated. \return false when it lacked memory
bool RunWithMemory(int arrays, const std::function<void()>& function) {
  arrays_left = arrays;
  bool is_enough = true;
  try {
    function();
  } catch (const std::bad_alloc&) {
    is_enough = false;
  }
  arrays_left = -1;
  return is_enough;
}

class TextFileMemory : public testing::Test {
 protected:
  const support::TempFolder folder_;
  const std::string path_ = folder_.Write("file", "0123456789");
  const char* const file_ = path_.c_str();
};

TEST_F(TextFileMemory, WithoutMemoryALoaderClosesAndLeavesTheTextAlone) {
  for (const char* bytes : {"abcd",
                            "\xFF\xFE"
                            "ab",
                            "\xFE\xFF"
                            "ab",
                            "\xEF\xBB\xBF"
                            "ab"}) {
    folder_.Write("file", bytes);
    for (const Loader load : kLoaders) {
      LStringLong text;
      text = "x";
      EXPECT_FALSE(RunWithMemory(0, [&] { load(file_, text); }));
      EXPECT_STREQ(text.c_str(), "x");
      EXPECT_EQ(text.size(), 1u);
    }
  }
}

TEST_F(TextFileMemory, WhereverMemoryEndsNothingIsLeft) {
  folder_.Write("file",
                "\xFE\xFF"
                "abcdef");
  for (const Loader load : kLoaders) {
    int arrays = 0;
    const auto load_once = [&] {
      LStringLong text;
      EXPECT_EQ(load(file_, text), 1);
    };
    while (!RunWithMemory(arrays, load_once)) ++arrays;
    EXPECT_GT(arrays, 0);
  }
}

TEST_F(TextFileMemory, WithoutMemoryAFileIsWhatItWas) {
  LStringLong text;
  text = "ab";
  for (int arrays = 0; !RunWithMemory(arrays, [&] { EXPECT_EQ(LSaveTextAsUnicodeBOM(file_, text), 0); }); ++arrays) {
    EXPECT_EQ(Contents(path_), "0123456789");
  }
  EXPECT_EQ(Contents(path_), std::string("\xFF\xFE"
                                         "a\0b\0",
                                         6));
}

}  // namespace
