// How much memory the operations on folders ask for. The definitions here take the place of the C library's for
// everything that is linked into this program.

#include <dlfcn.h>
#include <sys/stat.h>

#include <cstddef>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/temp_folder.h>
#include <tillvane/files/LFile.h>
#include <tillvane/files/LFileFolderIterator.h>

namespace {

bool is_counting = false;
std::size_t bytes = 0;

void Count(std::size_t size) {
  if (is_counting) bytes += size;
}

}  // namespace

// Visible: for the C library's own calls too, whichever compiler it is.
extern "C" {

[[gnu::visibility("default")]] void* malloc(std::size_t size) noexcept {
  static const auto next = reinterpret_cast<decltype(&malloc)>(dlsym(RTLD_NEXT, "malloc"));
  Count(size);
  return next(size);
}

[[gnu::visibility("default")]] void* realloc(void* memory, std::size_t size) noexcept {
  static const auto next = reinterpret_cast<decltype(&realloc)>(dlsym(RTLD_NEXT, "realloc"));
  Count(size);
  return next(memory, size);
}

}  // extern "C"

namespace {

using support::TempFolder;

/// All that is asked for, whether or not it is given back meanwhile.
template <class Work>
std::size_t BytesOf(Work work) {
  bytes = 0;
  is_counting = true;
  work();
  is_counting = false;
  return bytes;
}

void ListAll(const char* folder) {
  LFile::FolderIteratorAllFiles files;
  for (int found = files.Open(folder); found != 0;) found = files.Next();
}

void ListTexts(const char* folder) {
  LFile::FolderIterator files;
  for (int found = files.Open(folder, "*.TXT"); found != 0;) found = files.Next();
}

void DeleteOld(const char* folder) { LFile::DeleteOldFiles(folder, "*", 1); }

void DeleteFiles(const char* folder) { LFile::DeleteFolderAndFiles(folder); }

void DeleteTree(const char* folder) { LFile::DeleteFolderTree(folder); }

void DeleteTreeAlways(const char* folder) { LFile::DeleteFolderTreeAlways(folder); }

/// Of an operation on a new folder of so many files.
std::size_t BytesAmong(int files, void (*operation)(const char* folder)) {
  const TempFolder temp;
  const std::string folder = temp.File("folder");
  EXPECT_EQ(mkdir(folder.c_str(), 0700), 0);
  for (int i = 0; i < files; ++i) {
    EXPECT_EQ(mknod((folder + '/' + std::to_string(i) + ".txt").c_str(), S_IFREG | 0600, 0), 0);
  }
  return BytesOf([&] { operation(folder.c_str()); });
}

TEST(FolderMemory, HowManyEntriesThereAreCostsNone) {
  const struct {
    const char* name;
    void (*operation)(const char* folder);
  } cases[] = {{"list all", ListAll},
               {"list texts", ListTexts},
               {"delete old", DeleteOld},
               {"delete files", DeleteFiles},
               {"delete the tree", DeleteTree},
               {"delete the tree always", DeleteTreeAlways},
               {"open to everybody", LFile::SetFolderSecurityAllAccess}};
  for (const auto& one : cases) {
    const std::size_t little = BytesAmong(10, one.operation);
    EXPECT_GT(little, 0u) << one.name << ": a stream has memory of its own";
    // More than the system tells at once.
    EXPECT_EQ(BytesAmong(2000, one.operation), little) << one.name;
  }
}

}  // namespace
