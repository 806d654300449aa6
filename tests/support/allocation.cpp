#include "tests/support/allocation.h"

#include <unordered_map>

#include "tests/support/wrapped_allocation.h"

namespace support {
namespace {

struct Ledger {
  std::unordered_map<const void *, size_t> blocks;
  int64_t countdown = 0;
  Failing which = Failing::kOnlyThat;
  bool failed = false;
};

// Never destroyed: blocks may still be released after the static objects are gone.
Ledger &ledger() {
  static auto *instance = new Ledger;
  return *instance;
}

bool refuse() {
  Ledger &l = ledger();
  if (l.countdown == 0) return false;
  if (l.countdown > 1) {
    --l.countdown;
    return false;
  }
  if (l.which == Failing::kOnlyThat) l.countdown = 0;
  l.failed = true;
  return true;
}

void *entered(void *block, size_t size) {
  if (block != nullptr) ledger().blocks[block] = size;
  return block;
}

}  // namespace

void fail_allocation(int64_t k, Failing which) {
  ledger().countdown = k;
  ledger().which = which;
  ledger().failed = false;
}

bool allocation_failed() { return ledger().failed; }

int64_t live_blocks() { return static_cast<int64_t>(ledger().blocks.size()); }

size_t block_size(const void *block) {
  const auto found = ledger().blocks.find(block);
  return found == ledger().blocks.end() ? 0 : found->second;
}

}  // namespace support

void *__wrap_malloc(size_t size) {
  return support::refuse() ? nullptr : support::entered(__real_malloc(size), size);
}

void *__wrap_calloc(size_t count, size_t size) {
  if (support::refuse()) return nullptr;
  return support::entered(__real_calloc(count, size), count * size);
}

void *__wrap_realloc(void *block, size_t size) {
  if (support::refuse()) return nullptr;
  support::ledger().blocks.erase(block);
  return support::entered(__real_realloc(block, size), size);
}

void __wrap_free(void *block) {
  support::ledger().blocks.erase(block);
  __real_free(block);
}
