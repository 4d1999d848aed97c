// What sets the two packet families apart, so that one loop serves both.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>

#include "formats/rtp.h"
#include "packets/record_sink.h"
#include "packets/wld_header.h"
#include "qlip/pkq_native.h"
#include "qlip/wld_native.h"

namespace qlip {

using ByteSpan = std::span<const unsigned char>;

// The input of a packetiser; a negative size is no input.
inline ByteSpan input_of(const void* in, int size) {
    return {static_cast<const unsigned char*>(in), static_cast<size_t>(std::max(size, 0))};
}

struct WldFamily {
    using native = wld_native;
    static constexpr int kHeaderSize = sizeof(wld_packet_record);

    static uint32_t flags(const wld_native& n) { return n.flags; }
    static uint32_t& timestamp(wld_native& n) { return n.rtp.timestamp; }
    static void set_payload_size(wld_native& n, size_t size) {
        n.rtp.payload_size = static_cast<uint32_t>(size);
    }
    static void count(wld_native& n) { ++n.packet_count; }
    static void put_header(unsigned char* out, wld_native& n, int type) { put_next_header(out, n.rtp, type); }
};

struct PkqFamily {
    using native = pkq_native;
    static constexpr int kHeaderSize = sizeof(pkq_packet_record);

    static uint32_t flags(const pkq_native& n) { return n.rtp.flags; }
    static uint32_t& timestamp(pkq_native& n) { return n.rtp.time; }
    static void set_payload_size(pkq_native& n, size_t size) { n.rtp.size = static_cast<int>(size); }
    static void count(pkq_native&) {}
    // The type is the one given to pkq_native_init.
    static void put_header(unsigned char* out, pkq_native& n, int) { pkq_put_header(out, &n.rtp); }
};

// Sets the timestamp of the frame in hand and moves the clock on by `step`.
template <class Family>
void stamp(typename Family::native& native, double step) {
    Family::timestamp(native) = take_timestamp(native.time_accumulator, step);
}

// Writes one record: header, payload header, data. False when it does not fit; nothing is written then.
// Inlined, as passing its arguments would cost as much as its work.
template <class Family>
[[nodiscard, gnu::always_inline]] inline bool put_record(RecordSink& sink, typename Family::native& native,
                                                         int type, ByteSpan head, ByteSpan data,
                                                         RecordCredit credit = {}) {
    const size_t payload_size = head.size() + data.size();
    unsigned char* out = sink.take(static_cast<ptrdiff_t>(Family::kHeaderSize + payload_size), credit);
    if (!out) return false;
    Family::set_payload_size(native, payload_size);
    Family::put_header(out, native, type);
    out = std::copy(head.begin(), head.end(), out + Family::kHeaderSize);
    std::copy(data.begin(), data.end(), out);
    return true;
}

}  // namespace qlip
