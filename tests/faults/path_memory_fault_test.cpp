// Paths without memory. The definitions here take the place of the standard library's for everything that is linked
// into this program.

#include <cstdlib>
#include <new>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/faults.h>
#include <tillvane/files/LFile.h>

namespace {

bool has_memory = true;

void* Allocate(std::size_t size) {
  if (!has_memory) support::NoteFault("new", ENOMEM);
  void* const memory = has_memory ? std::malloc(size) : nullptr;
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

}  // namespace

void* operator new(std::size_t size) { return Allocate(size); }
void* operator new[](std::size_t size) { return Allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }

namespace {

class WithoutMemory {
 public:
  WithoutMemory() { has_memory = false; }
  ~WithoutMemory() { has_memory = true; }
  WithoutMemory(const WithoutMemory&) = delete;
  WithoutMemory& operator=(const WithoutMemory&) = delete;
};

void TryAll(const char* path) {
  char out[1024];
  const WithoutMemory without_memory;
  LFile::_GetFolderFromPath(out, path);
  LFile::_GetBaseFolderFromPath(out, path);
  LFile::_GetFileFromPath(out, path);
  LFile::_GetFileNameFromPath(out, path);
  LFile::_GetFileExtensionFromPath(out, path);
  LFile::_ApplyNewFileExtension(out, path, ".lck");
  LFile::_MakeFilePath(out, path, path, ".lck");
  LFile::MakeAbsoluteFilePath(out, path, "../x", ".lck");
  LFile::MakeRelativeFilePath(out, path, "/x");
  LFile::MakeRelativeFolder(out, path, "/x");
  LFile::GetRelativePathFromAbsolutePath(out, path, "/x");
  LFile::PreprocessName(path, out);
  LFile::PreprocessPath(path, out);
  LFile::EscapeFilePath(path, out);
  LFile::IsMatch<char>("*b?c*a*", path);
  LFile::GetSizeFormattedBytes(~0ULL, out);
}

TEST(PathMemory, NothingIsAllocated) {
  std::string longest = "/";
  while (longest.size() < 259) longest += "ab/";
  for (const std::string& path : {std::string(), std::string("/a/b.c"), longest, longest + longest}) {
    EXPECT_NO_THROW(TryAll(path.c_str())) << path;
  }
}

}  // namespace
