#include "iso/model/arena.h"

#include <sys/mman.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "iso/model/open_file.h"

namespace {

// Fuzz targets take smaller ones: a sanitizer pays for each byte of a block.
#ifndef QLIP_ARENA_CHUNK
#define QLIP_ARENA_CHUNK 2048000
#endif
constexpr int kChunkSize = QLIP_ARENA_CHUNK;
constexpr int kLargePage = 2 * 1024 * 1024;
constexpr bool kFillsLargePage = kChunkSize <= kLargePage && kChunkSize > kLargePage / 2;
constexpr int kLinkSize = sizeof(arena_chunk);
static_assert(kLinkSize == 8);

// The next multiple of 8 strictly above `size`.
int64_t rounded(int size) {
    return (int64_t{size} / 8 + 1) * 8;
}

bool link_chunk(iso_file* file, void* memory, int size) {
    if (!memory) return false;
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
    return true;
}

enum class Content { Any, Zero };

// Bytes of the next chunk that is for more than one block.
int common_chunk(iso_file* file) {
    return qlip::is_for_one_stream(file) ? qlip::open_file(file)->next_chunk : kChunkSize;
}

// A chunk that is clear already: for fresh memory the system does that at no cost.
bool add_clear_chunk(iso_file* file, int size) {
    qlip::count_block();
    return link_chunk(file, std::calloc(1, static_cast<size_t>(size)), size);
}

bool within_limits(iso_file* file, int64_t block) {
    qlip::LimitedCallbacks* limits = qlip::limits_of(file);
    return !limits || limits->take_memory(static_cast<uint64_t>(block));
}

unsigned char* cut(iso_file* file, int64_t block) {
    unsigned char* taken = file->arena_next;
    file->arena_next += block;
    file->arena_left -= static_cast<int>(block);
    qlip::count_block();
    return taken;
}

// A chunk for one block.
void* cut_of_own_chunk(iso_file* file, int64_t block, Content content) {
    const int64_t chunk = block + kLinkSize;
    if (chunk > INT_MAX) return nullptr;
    unsigned char* next = file->arena_next;
    const int left = file->arena_left;
    const auto size = static_cast<int>(chunk);
    if (!(content == Content::Zero ? add_clear_chunk(file, size) : getChunk(file, size) == 1)) return nullptr;
    unsigned char* taken = cut(file, block);
    if (qlip::is_for_one_stream(file)) {  // the chunk before has room for small blocks still
        file->arena_next = next;
        file->arena_left = left;
    }
    return taken;
}

// A writer that filled a chunk will fill the next ones: theirs are large pages where the system has them, at
// a fraction of the cost of the small ones.
bool add_chunk_of_frames(iso_file* file, int size) {
    qlip::count_block();
    void* chunk = std::aligned_alloc(kLargePage, kLargePage);
    if (chunk) madvise(chunk, kLargePage, MADV_HUGEPAGE);
    return link_chunk(file, chunk, size);
}

bool add_common_chunk(iso_file* file, int size) {
    if (kFillsLargePage && file->writing && file->arena_chunks > 0) return add_chunk_of_frames(file, size);
    if (getChunk(file, size) != 1) return false;
    if (qlip::is_for_one_stream(file)) qlip::open_file(file)->next_chunk = std::min(2 * size, kChunkSize);
    return true;
}

void* cut_block(iso_file* file, int size, Content content) {
    if (!file || size < 0) return nullptr;
    const int64_t block = rounded(size);
    if (!within_limits(file, block)) return nullptr;
    if (file->arena_left < block) {
        const int chunk = common_chunk(file);
        if (block > chunk - kLinkSize) return cut_of_own_chunk(file, block, content);
        if (!add_common_chunk(file, chunk)) return nullptr;
    }
    unsigned char* taken = cut(file, block);
    if (content == Content::Zero) std::memset(taken, 0, static_cast<size_t>(block));
    return taken;
}

}  // namespace

void* systemmalloc(iso_file* /*file*/, int size) {
    qlip::count_block();
    return size < 0 ? nullptr : std::malloc(static_cast<size_t>(size));
}

void systemfree(void* block) {
    std::free(block);
    qlip::count_freed_blocks(1);
}

int getChunk(iso_file* file, int size) {
    return size >= kLinkSize && link_chunk(file, systemmalloc(file, size), size);
}

void safefree(char* head) {
    for (auto* chunk = reinterpret_cast<arena_chunk*>(head); chunk;) {
        arena_chunk* next = chunk->next;
        systemfree(chunk);
        chunk = next;
    }
}

void* isoFFmalloc(iso_file* file, int size) {
    return cut_block(file, size, Content::Zero);
}

// Most blocks are cut from the chunk in hand, each frame that is written being one.
void* qlip::arena_take(iso_file* file, int size) {
    if (file && size >= 0 && !limits_of(file)) {
        const int64_t block = rounded(size);
        if (block <= file->arena_left) return cut(file, block);
    }
    return cut_block(file, size, Content::Any);
}

void isoFFfree(void* /*block*/) {
    qlip::count_freed_blocks(1);
}
