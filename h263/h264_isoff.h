// H.264 NAL units behind their lengths, ISO/IEC 14496-15 5.2.3.
#pragma once

#include <optional>
#include <span>

namespace qlip {

// Bytes of the length field that h264_get_nal_size reads.
int nal_prefix_bytes(unsigned int prefix_size);

// Takes the next NAL unit off the front of `left`. Nothing when its length is cut off or points outside.
std::optional<std::span<const unsigned char>> next_nal(std::span<const unsigned char>& left,
                                                       unsigned int prefix_size);

}  // namespace qlip
