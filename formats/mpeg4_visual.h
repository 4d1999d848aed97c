// MPEG-4 visual start codes (ISO/IEC 14496-2 6.2.1, table 6-3): 00 00 01 and a code byte.
#pragma once

#include <cstdint>
#include <span>

#include "common/byte_order.h"

namespace qlip {

inline constexpr int kMpeg4StartCodeBytes = 4;
inline constexpr unsigned char kMpeg4SequenceCode = 0xB0;  // visual_object_sequence_start_code
inline constexpr unsigned char kMpeg4VopCode = 0xB6;       // vop_start_code

// vop_coding_type (6.2.5), the two bits behind a VOP's code, is 0 for an intra VOP: the byte is below this.
inline constexpr unsigned char kMpeg4IntraBelow = 0x40;

// profile_and_level_indication (6.2.2) stands right behind the code of the sequence.
inline constexpr size_t kMpeg4ProfileAt = kMpeg4StartCodeBytes;

// That of a configuration; 0 when it does not begin with a sequence.
inline unsigned int mpeg4_profile_level(std::span<const unsigned char> configuration) {
    constexpr uint32_t kSequence = 0x00000100 | kMpeg4SequenceCode;
    if (configuration.size() <= kMpeg4ProfileAt) return 0;
    return load_be32(configuration.data()) == kSequence ? configuration[kMpeg4ProfileAt] : 0;
}

}  // namespace qlip
