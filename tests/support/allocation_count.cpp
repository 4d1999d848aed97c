#include "tests/support/allocation_count.h"

#include <cstdint>

#if defined(__SANITIZE_ADDRESS__)
#define QLIP_TEST_COUNTS 0
#else
#define QLIP_TEST_COUNTS 1
#endif

namespace qlip_test {

namespace {
Counts so_far;
}

const bool counting = QLIP_TEST_COUNTS != 0;

Counts counts() {
    return so_far;
}

}  // namespace qlip_test

#if QLIP_TEST_COUNTS

extern "C" {

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
void __libc_free(void* block);

void* malloc(size_t size) {
    ++qlip_test::so_far.heap_calls;
    qlip_test::so_far.heap_bytes += size;
    return __libc_malloc(size);
}

void* calloc(size_t count, size_t size) {
    ++qlip_test::so_far.heap_calls;
    qlip_test::so_far.heap_bytes += count * size;
    return __libc_calloc(count, size);
}

void* realloc(void* block, size_t size) {
    ++qlip_test::so_far.heap_calls;
    qlip_test::so_far.heap_bytes += size;
    return __libc_realloc(block, size);
}

void free(void* block) {
    ++qlip_test::so_far.heap_calls;
    __libc_free(block);
}

// In assembly, so that the compiler cannot turn the loop into a call of itself.
void* memcpy(void* to, const void* from, size_t size) {
    qlip_test::so_far.copied += size;
    void* at = to;
    asm volatile("rep movsb" : "+D"(at), "+S"(from), "+c"(size) : : "memory");
    return to;
}

void* memmove(void* to, const void* from, size_t size) {
    if (reinterpret_cast<uintptr_t>(to) - reinterpret_cast<uintptr_t>(from) >= size)
        return memcpy(to, from, size);
    qlip_test::so_far.copied += size;
    auto* last_to = static_cast<unsigned char*>(to) + size - 1;
    const auto* last_from = static_cast<const unsigned char*>(from) + size - 1;
    asm volatile("std; rep movsb; cld" : "+D"(last_to), "+S"(last_from), "+c"(size) : : "memory");
    return to;
}
}

#endif
