// Memory of an open file: blocks are cut from a few large chunks, and all go back together at close.
//
// A standard chunk comes from malloc and only its used pages are ever touched, so a small file costs little
// however large the chunk is. isoFFmalloc clears what it hands out; a block with a chunk of its own is clear
// from the system, which costs nothing for fresh pages. arena_take leaves the bytes as they are, for a caller
// that fills all of them. A file that is opened for one stream begins with a small chunk, and each next one
// is twice as large. A file that is written takes large pages from its second chunk on.
#pragma once

#include <cstddef>

#include "qlip/SimpleException.h"
#include "qlip/isoff.h"

struct arena_chunk {
    arena_chunk* next;
};

// The counted heap pair. A failed allocation counts as well. systemmalloc ignores the file and gives null for
// a negative size.
void* systemmalloc(iso_file* file, int size);
void systemfree(void* block);

// Adds a chunk of `size` bytes, its link included, and makes it the current one. 1, or 0 without memory.
int getChunk(iso_file* file, int size);

// Frees all chunks from this one on.
void safefree(char* head);

namespace qlip {

// The counters of the process are plain ints for hosts to read; sessions on several threads count in them.
inline void count_block() {
    __atomic_fetch_add(&malloccount, 1, __ATOMIC_RELAXED);
}
inline void count_freed_blocks(int blocks) {
    __atomic_fetch_add(&freecount, blocks, __ATOMIC_RELAXED);
}

// Arena memory that is not cleared. Null as for isoFFmalloc.
[[nodiscard]] void* arena_take(iso_file* file, int size);

template <typename T>
[[nodiscard]] T* arena_new(iso_file* file) {
    return static_cast<T*>(isoFFmalloc(file, static_cast<int>(sizeof(T))));
}

// Counts a block as given back, where there is one.
inline void count_free(void* block) {
    if (block) isoFFfree(block);
}

}  // namespace qlip
