// Counts heap calls, the bytes that they ask for, and the bytes that go through the C library's copy
// functions. Link a test with allocation_count.cpp; under a sanitizer, which owns these functions, `counting`
// is false and nothing is counted.
#pragma once

#include <cstddef>

namespace qlip_test {

struct Counts {
    size_t heap_calls = 0;
    size_t heap_bytes = 0;  // asked for
    size_t copied = 0;      // bytes of copies whose size is not known to the compiler
};

extern const bool counting;
Counts counts();

}  // namespace qlip_test
