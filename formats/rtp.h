// RTP (RFC 3550): the fixed header, payload types and clocks.
#pragma once

#include <cstdint>

#include "common/byte_order.h"
#include "common/to_integer.h"

namespace qlip {

// The fixed header, RFC 3550 5.1, without CSRC list and extension:
//   V=2 P X CC | M PT | sequence number(16) | timestamp(32) | SSRC(32)
inline constexpr int kRtpHeaderBytes = 12;
inline constexpr int kRtpSequenceAt = 2;
inline constexpr int kRtpTimestampAt = 4;
inline constexpr int kRtpSsrcAt = 8;

// Byte 0 and byte 1.
inline constexpr unsigned char kRtpVersion2 = 2 << 6;
inline constexpr unsigned char kRtpMarker = 0x80;
inline constexpr unsigned int kRtpTypeMask = 0x7F;
inline constexpr int kRtpMarkerShift = 7;

inline constexpr uint32_t kRtpLastSequence = 0xFFFF;

// The first word of the header as a number.
inline constexpr uint32_t kRtpVersionWord = uint32_t{kRtpVersion2} << 24;

inline uint32_t rtp_marker(const unsigned char* header) {
    return header[1] >> kRtpMarkerShift;
}

inline uint16_t rtp_sequence(const unsigned char* header) {
    return load_be16(header + kRtpSequenceAt);
}

inline uint32_t rtp_timestamp(const unsigned char* header) {
    return load_be32(header + kRtpTimestampAt);
}

// `marker` is 0 or 1.
inline uint32_t rtp_word(uint32_t marker, uint32_t type, uint32_t sequence) {
    return kRtpVersionWord | marker << (16 + kRtpMarkerShift) | type << 16 | sequence;
}

// Clock rates of the payload formats: RFC 4629, 6416 and 6184 for video, RFC 4867 for AMR.
inline constexpr int kVideoClock = 90000;
inline constexpr int kNarrowbandClock = 8000;
inline constexpr int kWidebandClock = 16000;

// Packets are made, and hint tracks chosen, for paths of 1,500 bytes with room for the headers around RTP.
inline constexpr int kPacketBytes = 1400;

// A timestamp that runs in doubles, `clock` being the next one unrounded. Returns the timestamp of now and
// moves the clock on by `step`. It wraps at 2^32 - 1, not at 2^32: kept for receivers, which have always seen
// it so [clock-wraps-one-early].
inline uint32_t take_timestamp(double& clock, double step) {
    constexpr double kWrap = 4294967295.0;
    const uint32_t timestamp = to_u32(clock + 0.5);
    clock += step;
    if (clock > kWrap + 0.5) clock -= kWrap;
    return timestamp;
}

// The same clock for steps in whole units, which keep it whole: there its wrap is an end-around carry.
inline uint32_t take_timestamp(uint32_t& clock, uint32_t step) {
    const uint32_t timestamp = clock;
    const uint64_t next = uint64_t{timestamp} + step;
    clock = static_cast<uint32_t>(next) + static_cast<uint32_t>(next >> 32);
    return timestamp;
}

}  // namespace qlip
