/**
 * Counts the heap blocks of the code under test and lets chosen allocations fail. Test programs are
 * linked with --wrap for malloc, calloc, realloc and free, so that only the calls made by their own
 * objects pass here; operator new and the C library's inside do not.
 */
#ifndef TESTS_SUPPORT_ALLOCATION_H
#define TESTS_SUPPORT_ALLOCATION_H

#include <cstddef>
#include <cstdint>

namespace support {

enum class Failing { kOnlyThat, kThatAndAllLater };

/// Makes the k-th allocation from now on (k = 1, 2, ...) fail; k = 0 lets all succeed again.
void fail_allocation(int64_t k, Failing which = Failing::kOnlyThat);

/// Whether an allocation was made to fail since the last fail_allocation.
bool allocation_failed();

int64_t live_blocks();

/// Bytes of a live block, 0 when the address is not the start of one.
size_t block_size(const void *block);

}  // namespace support

#endif
