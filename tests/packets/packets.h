// Packet records as the tests spell them out, and a guarded buffer to packetise into.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "qlip/isoff.h"
#include "qlip/native_stream.h"
#include "qlip/wld_native.h"
#include "tests/support/box_builder.h"
#include "tests/support/little_endian.h"

namespace qlip_test {

inline Bytes filled(size_t count, unsigned char value) {
    return Bytes(count, value);
}

struct Packet {
    unsigned int type;
    bool marker;
    unsigned int sequence;
    unsigned int timestamp;
    Bytes payload;
};

inline Bytes records(std::initializer_list<Packet> packets) {
    Bytes all;
    for (const Packet& p : packets)
        all = join({all, packet_record(p.type, p.marker, p.sequence, p.timestamp, p.payload)});
    return all;
}

// What a packetiser made of a sample. The bytes behind `out_size` are checked to be as they were.
struct Result {
    int result;
    Bytes bytes;
};

template <class Packetiser, class Native>
Result packetise(Packetiser packetiser, Native& native, Bytes sample, double seconds, int out_size = 70000,
                 int slack = 0) {
    constexpr unsigned char kGuard = 0xEE;
    Bytes out(static_cast<size_t>(out_size) + 2048, kGuard);
    sample.shrink_to_fit();
    const int result =
        packetiser(out.data(), out_size, sample.data(), static_cast<int>(sample.size()), seconds, &native);
    for (size_t i = static_cast<size_t>(out_size + slack); i < out.size(); ++i) {
        EXPECT_EQ(out[i], kGuard) << "written beyond the buffer at " << i;
        if (out[i] != kGuard) break;
    }
    return {result, result < 0 ? Bytes{} : slice(out, 0, static_cast<size_t>(result))};
}

inline wld_native native_for(int codec, int rfc_mode = 0, int flags = 0, int packet_size = 1400) {
    iso_track track{};
    track.codec = codec;
    track.nal_length_size = 4;
    wld_native native{};
    EXPECT_EQ(wld_native_init(&native, 77, packet_size, rfc_mode, &track, flags), 0);
    return native;
}

}  // namespace qlip_test
