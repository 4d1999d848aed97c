// Counts heap calls, the bytes that they ask for, and the bytes that go through the C library's copy
// functions, and makes allocations fail. Link a test with allocation_count.cpp; under a sanitizer, which owns
// these functions, `counting` is false and nothing is counted.
#pragma once

#include <cstddef>

namespace qlip_test {

struct Counts {
    size_t heap_calls = 0;
    size_t heap_bytes = 0;   // asked for
    size_t allocations = 0;  // of the heap calls those that can fail
    long live = 0;           // blocks
    size_t copied = 0;       // bytes of copies whose size is not known to the compiler
};

extern const bool counting;
Counts counts();

// Makes one allocation fail, by its number from now on, or that one and all later ones; 0 ends it.
void fail_allocation(size_t number, bool and_later = false);

}  // namespace qlip_test
