#include "packets/wide_search.h"

#include <immintrin.h>

namespace qlip {

namespace {

constexpr int kBlock = 128;
constexpr int kClearedByBlock = kBlock - 2;  // a start code's three first bytes may reach beyond it

__m128i load(const unsigned char* from) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
}

__m128i least_of_four(const unsigned char* from) {
    return _mm_min_epu8(_mm_min_epu8(load(from), load(from + 16)),
                        _mm_min_epu8(load(from + 32), load(from + 48)));
}

// A vector whose byte i is zero where bytes i and i + 1 are; reads 17 bytes.
__m128i pairs(const unsigned char* from) {
    return _mm_or_si128(load(from), load(from + 1));
}

bool any_pair_in_64(const unsigned char* from) {
    const __m128i least = _mm_min_epu8(_mm_min_epu8(pairs(from), pairs(from + 16)),
                                       _mm_min_epu8(pairs(from + 32), pairs(from + 48)));
    return _mm_movemask_epi8(_mm_cmpeq_epi8(least, _mm_setzero_si128())) != 0;
}

// Whether 00 00 01 may stand in the next kBlock bytes. Taken as words it shows as 00 00, or as 00 01 behind
// an odd place. One such word shows in the least of the bytes; few others do.
bool is_suspect(const unsigned char* from) {
    const __m128i least = _mm_min_epu8(least_of_four(from), least_of_four(from + 64));
    const __m128i but_for_one = _mm_andnot_si128(_mm_set1_epi16(0x0100), least);
    return _mm_movemask_epi8(_mm_cmpeq_epi16(but_for_one, _mm_setzero_si128())) != 0;
}

const unsigned char* pass_back(const unsigned char* begin, const unsigned char* end) {
    while (end - begin >= 65 && !any_pair_in_64(end - 65))
        end -= 64;
    return end;
}

const unsigned char* pass(const unsigned char* begin, const unsigned char* at, const unsigned char* end) {
    if (end - begin < kClearedByBlock) return at;
    const unsigned char* last = end - kClearedByBlock;  // it may begin on known ground
    for (; at < last; at += kClearedByBlock) {
        if (is_suspect(at)) return at;
    }
    return is_suspect(last) ? at : end;
}

#define QLIP_AVX2 [[gnu::target("avx2")]]

QLIP_AVX2 __m256i load_wide(const unsigned char* from) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
}

QLIP_AVX2 __m256i pairs_wide(const unsigned char* from) {
    return _mm256_or_si256(load_wide(from), load_wide(from + 1));
}

QLIP_AVX2 bool any_pair_in_128(const unsigned char* from) {
    const __m256i least = _mm256_min_epu8(_mm256_min_epu8(pairs_wide(from), pairs_wide(from + 32)),
                                          _mm256_min_epu8(pairs_wide(from + 64), pairs_wide(from + 96)));
    return _mm256_movemask_epi8(_mm256_cmpeq_epi8(least, _mm256_setzero_si256())) != 0;
}

QLIP_AVX2 bool is_suspect_wide(const unsigned char* from) {
    const __m256i least = _mm256_min_epu8(_mm256_min_epu8(load_wide(from), load_wide(from + 32)),
                                          _mm256_min_epu8(load_wide(from + 64), load_wide(from + 96)));
    const __m256i but_for_one = _mm256_andnot_si256(_mm256_set1_epi16(0x0100), least);
    return _mm256_movemask_epi8(_mm256_cmpeq_epi16(but_for_one, _mm256_setzero_si256())) != 0;
}

QLIP_AVX2 const unsigned char* pass_back_wide(const unsigned char* begin, const unsigned char* end) {
    while (end - begin >= 129 && !any_pair_in_128(end - 129))
        end -= 128;
    return end;
}

QLIP_AVX2 const unsigned char* pass_wide(const unsigned char* begin, const unsigned char* at,
                                         const unsigned char* end) {
    if (end - begin < kClearedByBlock) return at;
    const unsigned char* last = end - kClearedByBlock;
    for (; at < last; at += kClearedByBlock) {
        if (is_suspect_wide(at)) return at;
    }
    return is_suspect_wide(last) ? at : end;
}

}  // namespace

const WideSearch kBaselineSearch = {pass_back, pass};
const WideSearch kAvx2Search = {pass_back_wide, pass_wide};

bool has_avx2() {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") != 0;
}

}  // namespace qlip
