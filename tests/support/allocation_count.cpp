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
size_t failing = 0;
bool for_ever = false;

[[maybe_unused]] bool fails(size_t size) {
    ++so_far.heap_calls;
    so_far.heap_bytes += size;
    const size_t number = ++so_far.allocations;
    return failing != 0 && (for_ever ? number >= failing : number == failing);
}

[[maybe_unused]] void* taken(void* block) {
    if (block) ++so_far.live;
    return block;
}

}  // namespace

const bool counting = QLIP_TEST_COUNTS != 0;

Counts counts() {
    return so_far;
}

void fail_allocation(size_t number, bool and_later) {
    failing = number == 0 ? 0 : so_far.allocations + number;
    for_ever = and_later;
}

}  // namespace qlip_test

#if QLIP_TEST_COUNTS

extern "C" {

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_memalign(size_t alignment, size_t size);
void* __libc_realloc(void* block, size_t size);
void __libc_free(void* block);

void* malloc(size_t size) {
    return qlip_test::fails(size) ? nullptr : qlip_test::taken(__libc_malloc(size));
}

void* calloc(size_t count, size_t size) {
    return qlip_test::fails(count * size) ? nullptr : qlip_test::taken(__libc_calloc(count, size));
}

void* aligned_alloc(size_t alignment, size_t size) {
    return qlip_test::fails(size) ? nullptr : qlip_test::taken(__libc_memalign(alignment, size));
}

void* realloc(void* block, size_t size) {
    if (!block) return malloc(size);
    return qlip_test::fails(size) ? nullptr : __libc_realloc(block, size);
}

void free(void* block) {
    ++qlip_test::so_far.heap_calls;
    if (block) --qlip_test::so_far.live;
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
