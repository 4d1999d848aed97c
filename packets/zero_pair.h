// The search for two zero bytes in a row, with which every start code of H.263 and MPEG-4 visual begins.
#pragma once

#include <emmintrin.h>

#include <bit>
#include <cstdint>

#include "packets/wide_search.h"

namespace qlip {

inline __m128i load_block(const unsigned char* from) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
}

// Bit i is set where byte i of the block is zero.
inline uint32_t zero_mask(__m128i block) {
    return static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(block, _mm_setzero_si128())));
}

// A block whose byte i is zero where bytes i and i + 1 are; reads 17 bytes.
inline __m128i pairs_in_block(const unsigned char* from) {
    return _mm_or_si128(load_block(from), load_block(from + 1));
}

inline bool is_zero_pair(const unsigned char* at) {
    return at[0] == 0 && at[1] == 0;
}

// The first byte of the rightmost zero pair in [begin, end), or null.
inline const unsigned char* rightmost_zero_pair(const unsigned char* begin, const unsigned char* end,
                                                const WideSearch& wide = wide_search()) {
    end = wide.pass_back_without_pairs(begin, end);
    for (; end - begin >= 17; end -= 16) {
        const uint32_t pairs = zero_mask(pairs_in_block(end - 17));
        if (pairs != 0) return end - 17 + (std::bit_width(pairs) - 1);
    }
    for (; end - begin >= 2; --end) {
        if (is_zero_pair(end - 2)) return end - 2;
    }
    return nullptr;
}

// The first byte of the run of zeros that ends at `end`.
inline const unsigned char* zero_run_start(const unsigned char* begin, const unsigned char* end) {
    for (; end - begin >= 16; end -= 16) {
        const uint32_t others = zero_mask(load_block(end - 16)) ^ 0xFFFF;
        if (others != 0) return end - 16 + std::bit_width(others);
    }
    while (end != begin && end[-1] == 0)
        --end;
    return end;
}

// The last pair that a walk from `begin` to `end` meets which steps 2 bytes behind a pair and 1 byte
// otherwise, or null. Such a walk enters every run of zeros at its first byte, so that the pair lies at an
// even distance from there.
inline const unsigned char* last_walked_zero_pair(const unsigned char* begin, const unsigned char* end,
                                                  const WideSearch& wide = wide_search()) {
    const unsigned char* pair = rightmost_zero_pair(begin, end, wide);
    if (!pair) return nullptr;
    return pair - (pair - zero_run_start(begin, pair)) % 2;
}

}  // namespace qlip
