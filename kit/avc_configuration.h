// The decoder configuration of a track, and the parameter sets in that of H.264 (ISO/IEC 14496-15 5.2.4.1).
#pragma once

#include <algorithm>
#include <span>
#include <vector>

#include "formats/nal.h"
#include "qlip/isoff.h"

namespace qlip::kit {

using ByteSpan = std::span<const unsigned char>;

inline ByteSpan configuration_of(const iso_track* track) {
    return track->dsi ? ByteSpan(track->dsi, static_cast<size_t>(std::max(track->dsi_size, 0))) : ByteSpan();
}

// Sequence sets, then picture sets. Ends where one is empty or cut off.
inline std::vector<ByteSpan> parameter_sets_of(ByteSpan avcc) {
    std::vector<ByteSpan> sets;
    size_t at = kAvccSetsAt;
    for (const unsigned int count_mask : {kAvccSetCountMask, 255U}) {
        if (at >= avcc.size()) break;
        unsigned int count = avcc[at++] & count_mask;
        for (; count > 0 && at + 2 <= avcc.size(); --count) {
            const size_t size = load_be16(&avcc[at]);
            at += 2;
            if (size == 0 || size > avcc.size() - at) return sets;
            sets.push_back(avcc.subspan(at, size));
            at += size;
        }
    }
    return sets;
}

}  // namespace qlip::kit
