/**
 * What the linker makes of malloc and its kin by --wrap: calls go to the second four, the library's
 * own functions are the first.
 */
#ifndef TESTS_SUPPORT_WRAPPED_ALLOCATION_H
#define TESTS_SUPPORT_WRAPPED_ALLOCATION_H

#include <cstddef>

extern "C" {
void *__real_malloc(size_t size);
void *__real_calloc(size_t count, size_t size);
void *__real_realloc(void *block, size_t size);
void __real_free(void *block);
void *__wrap_malloc(size_t size);
void *__wrap_calloc(size_t count, size_t size);
void *__wrap_realloc(void *block, size_t size);
void __wrap_free(void *block);
}

#endif
