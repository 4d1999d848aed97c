#include "session/mpeg4_start_code.h"

#include <bit>
#include <cstdint>

#include "formats/mpeg4_visual.h"
#include "packets/zero_pair.h"

using namespace qlip;

namespace {

constexpr int kBlock = 16;

bool is_start_code(const unsigned char* at) {
    return is_zero_pair(at) && at[2] == 1 && at[4] < kMpeg4IntraBelow;
}

// Shows `visit` every start code that has a byte behind it, up to one for which it returns true. Most samples
// begin with one, so the first block is looked at closely without asking.
template <typename Visit>
void visit_start_codes(const unsigned char* data, int length, Visit visit) {
    const unsigned char* end = data + (length > kMpeg4StartCodeBytes ? length - kMpeg4StartCodeBytes : 0);
    const unsigned char* at = data;
    while (end - at >= kBlock) {
        for (uint32_t pairs = zero_mask(pairs_in_block(at)); pairs != 0; pairs &= pairs - 1) {
            const unsigned char* candidate = at + std::countr_zero(pairs);
            if (is_start_code(candidate) && visit(candidate)) return;
        }
        at = wide_search().pass_without_start_codes(data, at + kBlock, end);
    }
    for (; at < end; ++at) {
        if (is_start_code(at) && visit(at)) return;
    }
}

}  // namespace

int qlip::find_start_code(const unsigned char* data, int length, unsigned char code) {
    int found = -1;
    visit_start_codes(data, length, [&](const unsigned char* at) {
        if (at[3] == code) found = static_cast<int>(at - data);
        return found >= 0;
    });
    return found;
}

StartCodes qlip::find_start_codes(const unsigned char* data, int length) {
    StartCodes found;
    const auto keep_first = [data](int& place, const unsigned char* at) {
        if (place < 0) place = static_cast<int>(at - data);
    };
    visit_start_codes(data, length, [&](const unsigned char* at) {
        if (at[3] == kMpeg4SequenceCode) keep_first(found.sequence, at);
        if (at[3] == kMpeg4VopCode) keep_first(found.vop, at);
        return found.sequence >= 0 && found.vop >= 0;
    });
    return found;
}
