#include "iso/read/payload.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <cstring>

#include "common/byte_order.h"
#include "iso/model/arena.h"
#include "iso/model/open_file.h"
#include "iso/read/stream_input.h"

using namespace qlip;

namespace {

// The window that is being read, or null.
MoovWindow* window_of(iso_file* file) {
    OpenFile* own = file->in_buffer ? open_file(file) : nullptr;
    return own && own->moov.start ? &own->moov : nullptr;
}

// As load_be32_run, for `to` at or up to three bytes below `from`: by way of a block of its own, so that the
// compiler need not fear the overlap.
void convert_run(unsigned char* to, const unsigned char* from, size_t words) {
    constexpr size_t kBlock = 64;
    std::array<unsigned int, kBlock> block;
    for (; words >= kBlock; words -= kBlock) {
        load_be32_run(block.data(), from, kBlock);
        std::memcpy(to, block.data(), sizeof block);
        from += sizeof block;
        to += sizeof block;
    }
    load_be32_run(to, from, words);
}

// Lets a table reuse the moov bytes it came from. Words need their alignment: up to three bytes in front,
// where the box's count stood, are used for that.
unsigned int* convert_in_place(iso_file* file, const MoovWindow& window, size_t words) {
    unsigned char* from = file->buffer_next;
    unsigned char* to = from - reinterpret_cast<uintptr_t>(from) % alignof(unsigned int);
    if (to < window.start) return nullptr;
    convert_run(to, from, words);
    seek_buf(file, static_cast<int>(4 * words));
    count_block();
    return reinterpret_cast<unsigned int*>(to);
}

}  // namespace

namespace qlip {

int consumed_of_buffer(iso_file* file) {
    const MoovWindow* window = window_of(file);
    return window ? static_cast<int>(file->buffer_next - window->start) : INT_MAX;
}

bool may_claim(iso_file* file, long long bytes) {
    if (bytes < 0) return false;
    MoovWindow* window = window_of(file);
    if (!window) return bytes <= kTrustedPayload;
    if (bytes > window->size) return false;
    const long long missing = std::max(0LL, bytes - file->buffer_left);
    if (missing > window->absent) return false;
    window->absent -= missing;
    return true;
}

void* claim(iso_file* file, int n, int extra) {
    if (!may_claim(file, n) || n > INT_MAX - extra) return nullptr;
    return isoFFmalloc(file, n + extra);
}

unsigned char* read_block(iso_file* file, int n) {
    auto* block = static_cast<unsigned char*>(claim(file, n, 1));
    if (block) getbytes(file, block, n);
    return block;
}

unsigned int* read_table(iso_file* file, unsigned int count, unsigned int columns) {
    const long long words = static_cast<long long>(count) * columns;
    const long long bytes = 4 * words;
    if (!may_claim(file, bytes) || bytes > INT_MAX) return nullptr;
    const MoovWindow* window = window_of(file);
    if (window && bytes <= file->buffer_left) {
        if (auto* table = convert_in_place(file, *window, static_cast<size_t>(words))) return table;
    }
    auto* table = static_cast<unsigned int*>(isoFFmalloc(file, static_cast<int>(bytes)));
    if (table) read_words(file, table, words);
    return table;
}

chunk_span* read_chunk_starts(iso_file* file, unsigned int count, unsigned int* read) {
    constexpr long long kRowSize = sizeof(chunk_span);
    if (!may_claim(file, 4LL * count) || kRowSize * count > INT_MAX) return nullptr;
    auto* chunks = static_cast<chunk_span*>(arena_take(file, static_cast<int>(kRowSize * count)));
    if (!chunks) return nullptr;
    const long long there = file->in_buffer ? std::min<long long>(count, file->buffer_left / 4) : 0;
    for (long long i = 0; i < there; ++i)
        chunks[i] = {load_be32(file->buffer_next + 4 * i), 0};
    if (there > 0) seek_buf(file, static_cast<int>(4 * there));
    for (long long i = there; i < count; ++i)
        chunks[i] = {read_u32(file), 0};
    *read = file->in_buffer ? static_cast<unsigned int>(there) : count;
    return chunks;
}

void read_words(iso_file* file, unsigned int* to, long long count) {
    if (file->in_buffer) {
        const long long there = std::min<long long>(count, file->buffer_left / 4);
        load_be32_run(to, file->buffer_next, static_cast<size_t>(there));
        seek_buf(file, static_cast<int>(4 * there));
        to += there;
        count -= there;
    }
    for (; count > 0; --count)
        *to++ = read_u32(file);
}

}  // namespace qlip
