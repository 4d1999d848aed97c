// The packet record's header, inline for the packetisers.
#pragma once

#include <cstdint>
#include <cstring>

#include "common/byte_order.h"
#include "qlip/native_stream.h"
#include "qlip/wld_native.h"

namespace qlip {

// RFC 3550 5.1, the first word as a number:
//   V=2 P X CC | M PT | sequence number
inline constexpr uint32_t kRtpVersion2 = 0x80000000;
inline constexpr int kRtpMarkerShift = 23;
inline constexpr int kRtpTypeShift = 16;
inline constexpr uint32_t kLastSequence = 65535;

// `marker` is 0 or 1. Nothing is masked: what a caller puts into the fields is what goes out.
inline uint32_t rtp_word(uint32_t marker, uint32_t type, uint32_t sequence) {
    return kRtpVersion2 | (marker << kRtpMarkerShift) | (type << kRtpTypeShift) | sequence;
}

inline void put_packet_record(void* out, uint32_t payload_size, uint32_t timestamp, uint32_t word) {
    const wld_packet_record record{payload_size + uint32_t{sizeof(wld_packet_record)}, timestamp, word,
                                   timestamp, 0};
    std::memcpy(out, &record, sizeof record);
}

inline void put_next_header(void* out, WLD_RTP& rtp, int payload_type) {
    const uint32_t word = rtp_word(rtp.marker, static_cast<uint32_t>(payload_type), rtp.sequence);
    put_packet_record(out, rtp.payload_size, rtp.timestamp, word);
    if (++rtp.sequence > kLastSequence) rtp.sequence = 0;
}

// The record of an RTP packet (RFC 3550 5.1): what rtp2pkq and wld_put_header_pkq2wld make of it together.
//   V P X CC | M PT | sequence number | timestamp | SSRC
inline void put_record_of_rtp(void* out, const unsigned char* rtp, uint32_t payload_size, int payload_type) {
    const uint32_t word = rtp_word(rtp[1] >> 7, static_cast<uint32_t>(payload_type), load_be16(rtp + 2));
    put_packet_record(out, payload_size, load_be32(rtp + 4), word);
}

}  // namespace qlip
