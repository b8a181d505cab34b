// Grants without memory. The definitions here take the place of the standard library's for everything that is linked
// into this program.

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <new>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/bookmark_manager.h>
#include <tests/support/faults.h>

namespace {

/// So many more allocations there is memory for.
int left = INT_MAX;
int blocks = 0;

void* Allocate(std::size_t size) {
  if (left == 0) support::NoteFault("new", ENOMEM);
  void* const memory = left > 0 ? std::malloc(size) : nullptr;
  if (memory == nullptr) throw std::bad_alloc();
  if (left != INT_MAX) --left;
  ++blocks;
  return memory;
}

void Free(void* memory) {
  if (memory != nullptr) --blocks;
  std::free(memory);
}

}  // namespace

void* operator new(std::size_t size) { return Allocate(size); }
void* operator new[](std::size_t size) { return Allocate(size); }
void operator delete(void* memory) noexcept { Free(memory); }
void operator delete(void* memory, std::size_t) noexcept { Free(memory); }
void operator delete[](void* memory) noexcept { Free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { Free(memory); }

namespace {

class BookmarksMemory : public support::BookmarkManagerTest {
 protected:
  ~BookmarksMemory() override { left = INT_MAX; }
};

/// \return could it be made
bool TryToMake(int allocations) {
  left = allocations;
  try {
    const LSandboxBookmarkManager manager;
    left = INT_MAX;
    return true;
  } catch (const std::bad_alloc&) {
    left = INT_MAX;
    return false;
  }
}

TEST_F(BookmarksMemory, AManagerThatCouldNotBeMadeLeavesNothing) {
  support::Texts keys;
  for (int i = 0; i < 3; ++i) {
    const std::string path = home_.Beside("granted " + std::to_string(i));
    support::MakeFile(path);
    keys.push_back("key " + std::to_string(i));
    grants_.preferences[keys.back()] = support::ScriptedGrants::Bookmark(path);
  }
  grants_.preferences["SECURITY_BOOKMARK_KEYS"] = keys;
  grants_.keeps_calls = false;
  ASSERT_TRUE(TryToMake(INT_MAX));
  int failures = 0;
  for (bool is_made = false; !is_made && failures < 1000; failures += is_made ? 0 : 1) {
    const int before = blocks;
    is_made = TryToMake(failures);
    EXPECT_EQ(grants_.urls, 0) << failures;
    EXPECT_EQ(grants_.resolving, 0) << failures;
    EXPECT_TRUE(is_made || blocks == before) << failures << ": " << blocks - before << " blocks were lost";
    EXPECT_EQ(StoredKeys(), keys) << failures;
  }
  EXPECT_GT(failures, 10);
  EXPECT_LT(failures, 1000);
}

TEST_F(BookmarksMemory, TheEndNeedsNone) {
  Create().InstanceAddKey("key");
  Add(home_.Beside("granted"));
  grants_.keeps_calls = false;
  left = 0;
  Destroy();
  left = INT_MAX;
  EXPECT_EQ(StoredKeys(), support::Texts{"key"});
}

}  // namespace
