// The running RTP timestamp.
#pragma once

#include <cstdint>

#include "common/to_integer.h"

namespace qlip {

// Returns the timestamp of the frame in hand, and moves the accumulator on by `step`. The accumulator wraps
// at 2^32 - 1, not at 2^32: kept, since receivers have always seen it so.
inline uint32_t take_timestamp(double& accumulator, double step) {
    const uint32_t timestamp = to_u32(accumulator + 0.5);
    accumulator += step;
    if (accumulator > 4294967295.5) accumulator -= 4294967295.0;
    return timestamp;
}

}  // namespace qlip
