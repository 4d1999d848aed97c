// H.264 NAL units behind their lengths, ISO/IEC 14496-15 5.2.3. Inline: the packetiser asks for every unit.
#pragma once

#include <optional>
#include <span>

#include "common/byte_order.h"

namespace qlip {

// The length that a field of 1, 2, 3 or else 4 bytes holds.
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

// Takes the next NAL unit off the front of `left`. Nothing when its length is cut off or points outside.
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
