// NAL units of H.264: their header, their places in a byte stream and in a sample, and their fragments.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "common/byte_order.h"

namespace qlip {

// The first byte of a unit, ITU-T H.264 7.3.1: forbidden_zero_bit, nal_ref_idc (NRI), nal_unit_type.
inline constexpr unsigned int kNalNriMask = 0x60;
inline constexpr unsigned int kNalTypeMask = 0x1F;

// Types, ITU-T H.264 table 7-1.
inline constexpr unsigned int kNalIdrSlice = 5;
inline constexpr unsigned int kNalSequenceSet = 7;
inline constexpr unsigned int kNalPictureSet = 8;

// Fragments of a unit, RFC 6184 5.8 (RFC 3984 before): a FU indicator, which has the form of a unit's first
// byte, and a FU header: start, end, reserved, type.
inline constexpr unsigned int kNalFuA = 28;
inline constexpr ptrdiff_t kFuBytes = 2;
inline constexpr unsigned int kFuStart = 0x80;
inline constexpr unsigned int kFuEnd = 0x40;

// An empty unit has no type.
inline unsigned int nal_type(std::span<const unsigned char> unit) {
    return unit.empty() ? 0 : unit[0] & kNalTypeMask;
}

// The start code prefix of a byte stream with its zero_byte, ITU-T H.264 Annex B.
inline constexpr std::array<unsigned char, 4> kNalStartCode = {0, 0, 0, 1};

// AVCDecoderConfigurationRecord, ISO/IEC 14496-15 5.2.4.1: version, profile, compatibility, level, then a
// byte with lengthSizeMinusOne and one with numOfSequenceParameterSets, with the reserved bits above set.
inline constexpr unsigned int kAvccVersion = 1;
inline constexpr size_t kAvccSetsAt = 5;
inline constexpr unsigned int kAvccLengthSizeMask = 0x03;
inline constexpr unsigned int kAvccLengthSizeReserved = 0xFC;
inline constexpr unsigned int kAvccSetCountMask = 0x1F;
inline constexpr unsigned int kAvccSetCountReserved = 0xE0;

// The length in front of a unit in a sample, ISO/IEC 14496-15 5.2.3: 1, 2, 3 or else 4 bytes. Inline: the
// packetiser asks for every unit.
inline unsigned int read_nal_size(const unsigned char* data, int prefix_size) {
    switch (prefix_size) {
        case 1:
            return data[0];
        case 2:
            return load_be16(data);
        case 3:
            return load_be24(data);
        default:
            return load_be32(data);
    }
}

// Bytes of the length field that read_nal_size reads.
inline int nal_prefix_bytes(unsigned int prefix_size) {
    return prefix_size >= 1 && prefix_size <= 3 ? static_cast<int>(prefix_size) : 4;
}

// Takes the next unit off the front of `left`. Nothing when its length is cut off or points outside.
inline std::optional<std::span<const unsigned char>> next_nal(std::span<const unsigned char>& left,
                                                              unsigned int prefix_size) {
    const int prefix = nal_prefix_bytes(prefix_size);
    if (left.size() < static_cast<size_t>(prefix)) return std::nullopt;
    const size_t size = read_nal_size(left.data(), prefix);
    const auto behind = left.subspan(static_cast<size_t>(prefix));
    if (size > behind.size()) return std::nullopt;
    left = behind.subspan(size);
    return behind.first(size);
}

}  // namespace qlip
