#include "session/mpeg4_start_code.h"

#include <bit>
#include <cstdint>

#include "formats/mpeg4_visual.h"
#include "packets/zero_pair.h"

namespace {

constexpr int kBlock = 16;

bool is_start_code(const unsigned char* at) {
    return qlip::is_zero_pair(at) && at[2] == 1 && at[4] < qlip::kMpeg4IntraBelow;
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
        at = qlip::wide_search().pass_without_start_codes(data, at + kBlock, end);
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
