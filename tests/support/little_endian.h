// Stream records written the way their tables read.
#pragma once

#include <initializer_list>

#include "tests/support/memory_host.h"

namespace qlip_test {

// Little-endian 32-bit words.
inline Bytes words(std::initializer_list<uint32_t> values) {
    Bytes out;
    for (const uint32_t value : values) {
        for (int shift = 0; shift < 32; shift += 8)
            out.push_back(static_cast<unsigned char>(value >> shift));
    }
    return out;
}

// The record of a packet: size, timestamp, RTP word, timestamp, 0, payload.
inline Bytes packet_record(unsigned int type, bool marker, unsigned int sequence, uint32_t timestamp,
                           const Bytes& payload) {
    const uint32_t rtp_word = 0x80000000U | (marker ? 1U << 23 : 0U) | type << 16 | sequence;
    Bytes record = words({static_cast<uint32_t>(payload.size()) + 20, timestamp, rtp_word, timestamp, 0});
    record.insert(record.end(), payload.begin(), payload.end());
    return record;
}

inline Bytes slice(const Bytes& bytes, size_t from, size_t size) {
    return Bytes(bytes.begin() + static_cast<long>(from), bytes.begin() + static_cast<long>(from + size));
}

}  // namespace qlip_test
