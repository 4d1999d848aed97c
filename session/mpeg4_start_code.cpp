#include "session/mpeg4_start_code.h"

#include <emmintrin.h>

#include <bit>
#include <cstdint>

#include "formats/mpeg4_visual.h"
#include "packets/zero_pair.h"

namespace {

constexpr int kBlock = 16;
constexpr int kStride = 8 * kBlock;
constexpr int kClearedByStride = kStride - 2;  // a start code's three first bytes may reach beyond it

bool is_start_code(const unsigned char* at) {
    return qlip::is_zero_pair(at) && at[2] == 1 && at[4] < qlip::kMpeg4IntraBelow;
}

__m128i least_of_two_blocks(const unsigned char* from) {
    return _mm_min_epu8(qlip::load_block(from), qlip::load_block(from + kBlock));
}

// Whether 00 00 01 may stand in the next kStride bytes. Taken as words it shows as 00 00, or as 00 01 behind
// an odd place. One such word among the blocks shows in the least of their bytes; few others do.
bool stride_is_suspect(const unsigned char* from) {
    const __m128i low = _mm_min_epu8(least_of_two_blocks(from), least_of_two_blocks(from + 2 * kBlock));
    const __m128i high =
        _mm_min_epu8(least_of_two_blocks(from + 4 * kBlock), least_of_two_blocks(from + 6 * kBlock));
    const __m128i but_for_one = _mm_andnot_si128(_mm_set1_epi16(0x0100), _mm_min_epu8(low, high));
    return _mm_movemask_epi8(_mm_cmpeq_epi16(but_for_one, _mm_setzero_si128())) != 0;
}

// The first position of [at, end) at which a closer look is due, or `end`.
const unsigned char* pass_clear_strides(const unsigned char* begin, const unsigned char* at,
                                        const unsigned char* end) {
    if (end - begin < kClearedByStride) return at;
    const unsigned char* last = end - kClearedByStride;  // it may begin on known ground
    for (; at < last; at += kClearedByStride) {
        if (stride_is_suspect(at)) return at;
    }
    return stride_is_suspect(last) ? at : end;
}

// Shows `visit` every start code that has a byte behind it, up to one for which it returns true. Most samples
// begin with one, so the first block is looked at closely without asking.
template <typename Visit>
void visit_start_codes(const unsigned char* data, int length, Visit visit) {
    const unsigned char* end =
        data + (length > qlip::kMpeg4StartCodeBytes ? length - qlip::kMpeg4StartCodeBytes : 0);
    const unsigned char* at = data;
    while (end - at >= kBlock) {
        for (uint32_t pairs = qlip::zero_mask(qlip::pairs_in_block(at)); pairs != 0; pairs &= pairs - 1) {
            const unsigned char* candidate = at + std::countr_zero(pairs);
            if (is_start_code(candidate) && visit(candidate)) return;
        }
        at = pass_clear_strides(data, at + kBlock, end);
    }
    for (; at < end; ++at) {
        if (is_start_code(at) && visit(at)) return;
    }
}

int find_code(const unsigned char* data, int length, unsigned char code) {
    int found = -1;
    visit_start_codes(data, length, [&](const unsigned char* at) {
        if (at[3] == code) found = static_cast<int>(at - data);
        return found >= 0;
    });
    return found;
}

}  // namespace

int CheckForIFrame(unsigned char* data, int length) {
    return find_code(data, length, qlip::kMpeg4VopCode) >= 0 ? 1 : 0;
}

int FindStartCode(unsigned char* data, int length, char code) {
    return find_code(data, length, static_cast<unsigned char>(code));
}

qlip::StartCodes qlip::find_start_codes(const unsigned char* data, int length) {
    StartCodes found;
    const auto keep_first = [data](int& place, const unsigned char* at) {
        if (place < 0) place = static_cast<int>(at - data);
    };
    visit_start_codes(data, length, [&](const unsigned char* at) {
        if (at[3] == qlip::kMpeg4SequenceCode) keep_first(found.sequence, at);
        if (at[3] == qlip::kMpeg4VopCode) keep_first(found.vop, at);
        return found.sequence >= 0 && found.vop >= 0;
    });
    return found;
}
