/**
 * tests/support/allocation.h without a list of the blocks: it serves several threads, and memory
 * from operator new is counted, and may fail, as well. Sizes come from the allocator, to the byte
 * where it is a sanitizer's.
 */
#include "tests/support/allocation.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "tests/support/wrapped_allocation.h"

namespace support {
namespace {

// Relaxed: these must not order what the threads under test leave unordered.
std::atomic<int64_t> blocks{0};
std::atomic<int64_t> countdown{0};
std::atomic<bool> all_later{false}, failed{false};

bool refuse() {
  if (countdown.load(std::memory_order_relaxed) == 0) return false;
  const int64_t left = countdown.fetch_sub(1, std::memory_order_relaxed) - 1;
  if (left > 0) return false;
  if (all_later) countdown.store(1, std::memory_order_relaxed);
  failed = true;
  return true;
}

void *counted(void *block) {
  if (block != nullptr) blocks.fetch_add(1, std::memory_order_relaxed);
  return block;
}

}  // namespace

void fail_allocation(int64_t k, Failing which) {
  countdown = k;
  all_later = which == Failing::kThatAndAllLater;
  failed = false;
}

bool allocation_failed() { return failed; }
int64_t live_blocks() { return blocks.load(std::memory_order_relaxed); }
size_t block_size(const void *block) { return malloc_usable_size(const_cast<void *>(block)); }

}  // namespace support

void *__wrap_malloc(size_t size) {
  return support::refuse() ? nullptr : support::counted(__real_malloc(size));
}

void *__wrap_calloc(size_t count, size_t size) {
  return support::refuse() ? nullptr : support::counted(__real_calloc(count, size));
}

void *__wrap_realloc(void *block, size_t size) {
  if (support::refuse()) return nullptr;
  void *moved = __real_realloc(block, size);
  return block == nullptr ? support::counted(moved) : moved;
}

void __wrap_free(void *block) {
  if (block != nullptr) support::blocks.fetch_sub(1, std::memory_order_relaxed);
  __real_free(block);
}

void *operator new(size_t size) {
  void *block = __wrap_malloc(size > 0 ? size : 1);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}
void *operator new[](size_t size) { return operator new(size); }
void *operator new(size_t size, const std::nothrow_t &) noexcept {
  return __wrap_malloc(size > 0 ? size : 1);
}
void *operator new[](size_t size, const std::nothrow_t &tag) noexcept {
  return operator new(size, tag);
}
void operator delete(void *block) noexcept { __wrap_free(block); }
void operator delete[](void *block) noexcept { __wrap_free(block); }
void operator delete(void *block, size_t) noexcept { __wrap_free(block); }
void operator delete[](void *block, size_t) noexcept { __wrap_free(block); }
