// The older packet family: reading stored streams back, and estimating their size.
#include <algorithm>
#include <cstdio>

#include "common/byte_order.h"
#include "common/to_integer.h"
#include "formats/amr.h"
#include "formats/native_header.h"
#include "formats/rtp.h"
#include "qlip/isoff.h"
#include "qlip/native_stream.h"
#include "qlip/pkq_native.h"
#include "qlip/wld_native.h"

using namespace qlip;

namespace {

constexpr unsigned int kAnyCheck = PKQ_FLAG_PRINT | PKQ_FLAG_COMPLAIN | PKQ_FLAG_CHECK;
constexpr double kFrameSeconds = 1.0 / kAmrFramesPerSecond;
constexpr int kFirstPacket = -2;  // preset by a caller who has seen no packet yet

void fill(PKQ_RTP* rtp, const pkq_packet_record& record) {
    rtp->first = load_be16(record.first);
    rtp->size = load_be16(record.size);
    rtp->magic = record.magic;
    rtp->marker = record.marker_type >> kRtpMarkerShift;
    rtp->type = static_cast<int>(record.marker_type & kRtpTypeMask);
    rtp->sequence = load_be16(record.sequence);
    rtp->time = load_be32(record.timestamp);
    rtp->flags &= ~PKQ_FLAG_SKIP_PRINT;
}

// Tells on stderr what is wrong with a header that follows the packet numbered `last`.
void check(PKQ_RTP* rtp, int last) {
    const bool good_magic = rtp->magic == kPacketMagic;
    const bool in_order = last == kFirstPacket || int64_t{rtp->sequence} == int64_t{last} + 1;
    if (good_magic && in_order) return;
    if ((rtp->flags & (PKQ_FLAG_PRINT | PKQ_FLAG_COMPLAIN)) == 0) return;
    if (!good_magic) std::fprintf(stderr, "Bad magic number\n");
    if (!in_order) std::fprintf(stderr, "Packet out of sequence, last seq # = %d\n", last);
    if ((rtp->flags & PKQ_FLAG_PRINT) == 0) print_pkq_header(rtp);
}

// Packets of a stream of `count` samples, in 32 bits.
unsigned int estimate_packets(int count, int bytes, double rate) {
    if (rate > 100.0) {
        const int samples = std::max(to_i32(0.5 + bytes / (rate - 16.0)), count);
        return static_cast<unsigned int>(samples) * 10;
    }
    return to_u32(0.5 + count * std::max(10.0, rate));
}

}  // namespace

void print_pkq_header(PKQ_RTP* rtp) {
    if ((rtp->flags & PKQ_FLAG_SKIP_PRINT) != 0) {
        rtp->flags &= ~PKQ_FLAG_SKIP_PRINT;
        return;
    }
    std::fprintf(stderr, "seq %5d, size %5d, time %10u, marker %1d, type %3d, magic %3d\n", rtp->sequence,
                 rtp->size, rtp->time, rtp->marker, rtp->type, rtp->magic);
}

int pkq_get_header(mfileio* stream, PKQ_RTP* rtp) {
    pkq_packet_record record{};
    if (stream->read(&record, 1, sizeof record, stream->stream) != sizeof record) return 0;
    const int last = rtp->sequence == int{kRtpLastSequence} ? -1 : rtp->sequence;
    fill(rtp, record);
    if ((rtp->flags & kAnyCheck) != 0) check(rtp, last);
    return 1;
}

int pkq_buffer_estimate(iso_track* track, int rfc_mode, double rate) {
    int count = 0;
    int bytes = 0;
    double duration = 0.0;
    if (isoFFtrackInfo(track, nullptr, &count, &duration, &bytes) != 0) return 0;
    const unsigned int packets = estimate_packets(count, bytes, rate);
    const auto total = [bytes](unsigned int headers, unsigned int header_size) {
        return static_cast<int>(headers * header_size + static_cast<unsigned int>(bytes));
    };
    switch (track->codec) {
        case ISO_CODEC_MP4A:
        case ISO_CODEC_SAWP:
            return total(static_cast<unsigned int>(count), 12);
        case ISO_CODEC_SAMR:
        case ISO_CODEC_SAWB:
            return total(to_u32(0.5 + duration / kFrameSeconds), 12);
        case ISO_CODEC_S263:
            return total(packets, rfc_mode == WLD_RFC_2190 ? 16 : 12);
        case ISO_CODEC_MP4V:
        case ISO_CODEC_AVC1:
            return total(packets, 12);
        default:
            return 0;
    }
}
