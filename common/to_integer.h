// Conversions from double to 32 bits, defined for every input. Within the range of a 64-bit integer they are
// what an x86-64 conversion through 64 bits gives: truncation towards zero, the low 32 bits. Outside it, and
// for NaN: 0.
#pragma once

#include <cstdint>

namespace qlip {

inline uint32_t to_u32(double value) {
    constexpr double kLimit = 9223372036854775808.0;  // 2^63
    if (!(value > -kLimit && value < kLimit)) return 0;
    return static_cast<uint32_t>(static_cast<uint64_t>(static_cast<int64_t>(value)));
}

inline int32_t to_i32(double value) {
    return static_cast<int32_t>(to_u32(value));
}

}  // namespace qlip
