// The C library's allocator, counted: a program's own functions of these names go before the C library's, also for its
// libraries. The allocator itself tells how many bytes are in use, but wavers by more than a slow leak loses.

#include "allocations.h"

#include <malloc.h>

#include <cerrno>
#include <cstddef>

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* block);
}

namespace {

void Count(long blocks, std::size_t bytes) {
  soak::allocations.blocks.fetch_add(blocks, std::memory_order_relaxed);
  soak::allocations.bytes.fetch_add(blocks * static_cast<long>(bytes), std::memory_order_relaxed);
}

void* Counted(void* block) {
  if (block != nullptr) Count(1, malloc_usable_size(block));
  return block;
}

void Uncount(void* block) {
  if (block != nullptr) Count(-1, malloc_usable_size(block));
}

}  // namespace

// Seen by the libraries too, whatever the compiler makes of what is hidden.
#pragma GCC visibility push(default)

extern "C" {

void* malloc(std::size_t size) { return Counted(__libc_malloc(size)); }

void* calloc(std::size_t count, std::size_t size) { return Counted(__libc_calloc(count, size)); }

void* realloc(void* block, std::size_t size) {
  const std::size_t old_bytes = malloc_usable_size(block);
  void* const moved = __libc_realloc(block, size);
  // Without memory the block stays as it is; a size of 0 frees it.
  if (block != nullptr && (moved != nullptr || size == 0)) Count(-1, old_bytes);
  return Counted(moved);
}

void* memalign(std::size_t alignment, std::size_t size) { return Counted(__libc_memalign(alignment, size)); }

void* aligned_alloc(std::size_t alignment, std::size_t size) { return memalign(alignment, size); }

int posix_memalign(void** result, std::size_t alignment, std::size_t size) {
  void* const block = memalign(alignment, size);
  if (block == nullptr) return ENOMEM;
  *result = block;
  return 0;
}

void free(void* block) {
  Uncount(block);
  __libc_free(block);
}

}  // extern "C"

#pragma GCC visibility pop
