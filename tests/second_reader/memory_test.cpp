// Memory that is not there: each allocation of a life fails in turn, once and for ever.
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

#include "tests/second_reader/reader_support.h"
#include "tests/support/samples.h"

namespace {

struct Heap {
    bool watched = false;
    long live = 0;
    unsigned long calls = 0;
    unsigned long failing = 0;  // the call that fails; 0 none
    bool for_ever = false;
} heap;

void* taken(std::size_t bytes) {
    if (heap.watched) {
        const unsigned long call = ++heap.calls;
        if (heap.failing != 0 && (call == heap.failing || (heap.for_ever && call > heap.failing)))
            return nullptr;
        ++heap.live;
    }
    return std::malloc(bytes);
}

void given_back(void* block) {
    if (heap.watched && block) --heap.live;
    std::free(block);
}

}  // namespace

[[gnu::noinline]] void* operator new(std::size_t bytes) {
    if (void* block = taken(bytes)) return block;
    throw std::bad_alloc();
}

[[gnu::noinline]] void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
    return taken(bytes);
}

[[gnu::noinline]] void* operator new[](std::size_t bytes) {
    return operator new(bytes);
}

[[gnu::noinline]] void* operator new[](std::size_t bytes, const std::nothrow_t&) noexcept {
    return taken(bytes);
}

[[gnu::noinline]] void operator delete(void* block) noexcept {
    given_back(block);
}

[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept {
    given_back(block);
}

[[gnu::noinline]] void operator delete[](void* block) noexcept {
    given_back(block);
}

[[gnu::noinline]] void operator delete[](void* block, std::size_t) noexcept {
    given_back(block);
}

namespace qlip_test {
namespace {

// Opens, reads to the end and closes. Returns the status of the open.
unsigned int life(MemoryHost& host, const char* mode) {
    static unsigned char buffer[4096];
    host.position = 0;
    C3gpInterface reader(65536);
    const unsigned int opened = reader.Open(host.record(), mode);
    for (unsigned int status = 0, calls = 0; status != 1 && calls < 1000; ++calls) {
        unsigned int size = sizeof buffer;
        status = reader.ReadChunk(buffer, &size, true);
        if (opened == 0 && status > 1) return status;
    }
    return opened;
}

TEST(Memory, ThatIsNotThereIsStatus6AndLeavesNothingBehind) {
    for (const auto& [name, mode] :
         {std::pair("av_h263_amrnb_hinted.3gp", "ra"), {"mpeg4_hinted.3gp", "rv"}}) {
        MemoryHost host(sample(name));
        host.keep_log = false;
        for (const bool for_ever : {false, true}) {
            bool reached = true;
            for (unsigned long call = 1; reached; ++call) {
                heap = {.watched = true, .failing = call, .for_ever = for_ever};
                const unsigned int status = life(host, mode);
                heap.watched = false;
                reached = heap.calls >= call;
                ASSERT_EQ(status, reached ? 6U : 0U) << name << " at allocation " << call;
                ASSERT_EQ(heap.live, 0) << name << " at allocation " << call;
            }
        }
    }
}

}  // namespace
}  // namespace qlip_test
