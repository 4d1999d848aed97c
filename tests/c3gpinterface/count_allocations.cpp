#include "tests/c3gpinterface/count_allocations.h"

#include <cstdlib>
#include <new>

namespace qlip_test {

unsigned long allocations = 0;

}  // namespace qlip_test

void* operator new(std::size_t size) {
    ++qlip_test::allocations;
    if (void* memory = std::malloc(size)) return memory;
    throw std::bad_alloc();
}

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    ++qlip_test::allocations;
    return std::malloc(size);
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}
