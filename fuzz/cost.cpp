#include "fuzz/cost.h"

#include <sanitizer/allocator_interface.h>

#include <algorithm>
#include <cstdio>

#include "fuzz/require.h"

namespace {

// The engine believes a moov and a media box up to kTrustedPayload without a look at the end of the file, and
// takes room that it then fills no further than the file goes.
constexpr size_t kClaim = 2100000;  // more than the arena takes of itself
constexpr unsigned int kClaimsOfAFile = 2;

constexpr uint64_t kKindsOfLines = 24;  // that one file brings out
constexpr uint64_t kMostOfAKind = 64;

qlip_fuzz::Spent so_far;

void count_block(const volatile void* /*block*/, size_t size) {
    so_far.kept += size;
    if (size < kClaim) {
        so_far.bytes += size;
    } else {
        ++so_far.claims;
        so_far.claimed += size;
    }
}

void count_freed(const volatile void* block) {
    so_far.kept -= __sanitizer_get_allocated_size(const_cast<const void*>(block));
}

ssize_t count_lines(void* /*cookie*/, const char* text, size_t size) {
    so_far.lines += static_cast<uint64_t>(std::count(text, text + size, '\n'));
    return static_cast<ssize_t>(size);
}

}  // namespace

// Stands in for the C library's, so that nothing of a run reaches the machine's log.
extern "C" void syslog(int /*priority*/, const char* /*format*/, ...) {
    ++so_far.lines;
}

namespace qlip_fuzz {

void watch() {
    static const bool installed = [] {
        stdout = fopencookie(nullptr, "w", {nullptr, count_lines, nullptr, nullptr});
        return stdout && __sanitizer_install_malloc_and_free_hooks(count_block, count_freed) != 0;
    }();
    require(installed);
}

Spent spent() {
    return so_far;
}

// Beside what is in proportion, an open file has buffers of a fixed size, of which the largest is the arena.
Cost::Cost(size_t input, unsigned int times, unsigned int lines_of_a_byte)
    : most_bytes_(times * (64 * uint64_t{input} + (3 << 20))),
      most_claims_(times * kClaimsOfAFile),
      most_lines_(times * (kKindsOfLines * (kMostOfAKind + 1) + uint64_t{lines_of_a_byte} * input)) {
    watch();
    so_far = {};
}

Cost::~Cost() {
    const Spent now = so_far;
    if (now.bytes <= most_bytes_ && now.claims <= most_claims_ && now.lines <= most_lines_) return;
    std::fprintf(stderr, "cost: %lu bytes of %lu allowed, %lu claims of %lu, %lu lines of %lu\n", now.bytes,
                 most_bytes_, now.claims, most_claims_, now.lines, most_lines_);
    require(false);
}

}  // namespace qlip_fuzz
