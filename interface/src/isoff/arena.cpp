#include "interface/src/isoff/arena.h"

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "qlip/SimpleException.h"

namespace {

constexpr int kChunkSize = 2048000;
constexpr int kLinkSize = sizeof(arena_chunk);
static_assert(kLinkSize == 8);

// The next multiple of 8 strictly above `size`.
int64_t rounded(int size) {
    return (int64_t{size} / 8 + 1) * 8;
}

bool has_own_chunk(int64_t block) {
    return block > kChunkSize - kLinkSize;
}

}  // namespace

void* systemmalloc(iso_file* /*file*/, int size) {
    ++malloccount;
    return size < 0 ? nullptr : std::malloc(static_cast<size_t>(size));
}

void systemfree(void* block) {
    std::free(block);
    ++freecount;
}

int getChunk(iso_file* file, int size) {
    if (size < kLinkSize) return 0;
    void* memory;
    if (size > kChunkSize) {
        memory = std::calloc(1, static_cast<size_t>(size));
        ++malloccount;
    } else {
        memory = systemmalloc(file, size);
    }
    if (!memory) return 0;
    auto* chunk = static_cast<arena_chunk*>(memory);
    chunk->next = nullptr;
    if (file->arena_tail) {
        file->arena_tail->next = chunk;
    } else {
        file->arena_head = chunk;
    }
    file->arena_tail = chunk;
    ++file->arena_chunks;
    file->arena_left = size - kLinkSize;
    file->arena_next = static_cast<unsigned char*>(memory) + kLinkSize;
    return 1;
}

void safefree(char* head) {
    for (auto* chunk = reinterpret_cast<arena_chunk*>(head); chunk;) {
        arena_chunk* next = chunk->next;
        systemfree(chunk);
        chunk = next;
    }
}

namespace qlip {

void* arena_take(iso_file* file, int size) {
    if (!file || size < 0) return nullptr;
    const int64_t block = rounded(size);
    if (file->arena_left < block) {
        const int64_t chunk = has_own_chunk(block) ? block + kLinkSize : kChunkSize;
        if (chunk > INT_MAX || !getChunk(file, static_cast<int>(chunk))) return nullptr;
    }
    unsigned char* taken = file->arena_next;
    file->arena_next += block;
    file->arena_left -= static_cast<int>(block);
    ++malloccount;
    return taken;
}

}  // namespace qlip

void* isoFFmalloc(iso_file* file, int size) {
    void* block = qlip::arena_take(file, size);
    const int64_t length = rounded(size);
    if (block && !has_own_chunk(length)) std::memset(block, 0, static_cast<size_t>(length));
    return block;
}

void isoFFfree(void* /*block*/) {
    ++freecount;
}
