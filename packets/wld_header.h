// The packet record's header, inline for the packetisers.
#pragma once

#include <cstddef>
#include <cstdint>

#include "common/byte_order.h"
#include "formats/rtp.h"
#include "qlip/native_stream.h"
#include "qlip/wld_native.h"

namespace qlip {

// Field by field: a record put together on the stack would be loaded before its words are stored.
inline void put_packet_record(void* out, uint32_t payload_size, uint32_t timestamp, uint32_t word) {
    auto* bytes = static_cast<unsigned char*>(out);
    store_le32(bytes, payload_size + uint32_t{sizeof(wld_packet_record)});
    store_le32(bytes + offsetof(wld_packet_record, timestamp), timestamp);
    store_le32(bytes + offsetof(wld_packet_record, rtp_word), word);
    store_le32(bytes + offsetof(wld_packet_record, timestamp2), timestamp);
    store_le32(bytes + offsetof(wld_packet_record, reserved), 0);
}

inline void put_next_header(void* out, WLD_RTP& rtp, int payload_type) {
    const uint32_t sequence = rtp.sequence & kRtpLastSequence;
    const uint32_t word = rtp_word(rtp.marker, static_cast<uint32_t>(payload_type), sequence);
    put_packet_record(out, rtp.payload_size, rtp.timestamp, word);
    rtp.sequence = (sequence + 1) & kRtpLastSequence;
}

// The record of an RTP packet: what rtp2pkq and wld_put_header_pkq2wld make of it together.
inline void put_record_of_rtp(void* out, const unsigned char* rtp, uint32_t payload_size, int payload_type) {
    const uint32_t word = rtp_word(rtp_marker(rtp), static_cast<uint32_t>(payload_type), rtp_sequence(rtp));
    put_packet_record(out, payload_size, rtp_timestamp(rtp), word);
}

}  // namespace qlip
