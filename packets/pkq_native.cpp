// The older packet family: state, packetisers, and the conversions of headers.
#include "qlip/pkq_native.h"

#include <cstring>

#include "common/byte_order.h"
#include "formats/native_header.h"
#include "packets/audio_packets.h"
#include "packets/pkq_header.h"
#include "packets/video_packets.h"
#include "qlip/isoff.h"

using namespace qlip;

namespace {

void choose(pkq_native* native, int clock_rate, pkq_packetiser packetise) {
    native->clock_rate = clock_rate;
    native->packetise = packetise;
}

int choose_packetiser(pkq_native* native) {
    switch (native->codec) {
        case ISO_CODEC_MP4V:
        case ISO_CODEC_S263:
            choose(native, kVideoClock, pkq_video_packet);
            return 0;
        case ISO_CODEC_SAMR:
            choose(native, kNarrowbandClock, pkq_amr_packet);
            return 0;
        case ISO_CODEC_MP4A:
        case ISO_CODEC_AVC1:
        case ISO_CODEC_SAWB:
        case ISO_CODEC_SAWP:
            return 0;
        default:
            return WLD_FAILED;
    }
}

}  // namespace

int pkq_native_init(pkq_native* native, int type, int packet_size, int rfc_mode, iso_track* track,
                    int flags) {
    native->rtp.sequence = 0;
    native->rtp.time = 0;
    native->rtp.marker = 0;
    native->rtp.magic = kPacketMagic;
    native->rtp.type = type;
    native->dsi = nullptr;
    native->dsi_size = 0;
    native->time_accumulator = 0.0;
    native->max_payload = static_cast<int>(int64_t{packet_size} - int64_t{sizeof(pkq_packet_record)});
    native->last_source_format = 0;
    native->rtp.unused = static_cast<unsigned int>(rfc_mode);
    native->rtp.flags = static_cast<unsigned int>(flags);
    native->codec = track->codec;
    return choose_packetiser(native);
}

int pkq_native_packet(void* out, int out_size, void* in, int in_size, double seconds, pkq_native* native) {
    if (!native->packetise) return WLD_FAILED;
    return native->packetise(out, out_size, in, in_size, seconds, native);
}

int pkq_amr_packet(void* out, int out_size, void* in, int in_size, double, pkq_native* native) {
    return packetise_amr<PkqFamily>(out, out_size, in, in_size, *native);
}

int pkq_video_packet(void* out, int out_size, void* in, int in_size, double seconds, pkq_native* native) {
    RecordSink sink(out, out_size);
    return packetise_video<PkqFamily>(sink, input_of(in, in_size), seconds, *native, native->rtp.type,
                                      PlainPieces(native->max_payload));
}

int pkq_put_header(void* out, PKQ_RTP* rtp) {
    if ((rtp->flags & PKQ_FLAG_PRINT) != 0) print_pkq_header(rtp);
    pkq_packet_record record{};
    store_be16(record.size, static_cast<uint16_t>(rtp->size));
    record.magic = kPacketMagic;
    record.marker_type = pkq_marker_type(rtp->marker, rtp->type);
    store_be16(record.sequence, static_cast<uint16_t>(rtp->sequence));
    store_be32(record.timestamp, rtp->time);
    std::memcpy(out, &record, sizeof record);
    // Only the one value wraps, so that a preset of -2 counts up through -1.
    rtp->sequence = rtp->sequence == int{kRtpLastSequence}
                        ? 0
                        : static_cast<int>(static_cast<unsigned int>(rtp->sequence) + 1);
    return sizeof record;
}

void rtp2pkq(void* packet, int size, int type, int) {
    auto* rtp = static_cast<unsigned char*>(packet);
    pkq_packet_record record{};
    store_be16(record.size, static_cast<uint16_t>(static_cast<unsigned int>(size) - sizeof record));
    record.magic = kPacketMagic;
    record.marker_type = pkq_marker_type(static_cast<int>(rtp_marker(rtp)), type);
    std::memcpy(record.sequence, rtp + kRtpSequenceAt, sizeof record.sequence);
    std::memcpy(record.timestamp, rtp + kRtpTimestampAt, sizeof record.timestamp);
    std::memcpy(rtp, &record, sizeof record);
}

void wld_put_header_pkq2wld(unsigned char* in, unsigned char* out, int type) {
    pkq_packet_record record;
    std::memcpy(&record, in, sizeof record);
    const uint32_t word = rtp_word(record.marker_type >> kRtpMarkerShift,
                                   static_cast<uint32_t>(type) & kRtpTypeMask, load_be16(record.sequence));
    put_packet_record(out, load_be16(record.size), load_be32(record.timestamp), word);
}

void pkq_remove_amr_dtx(void*, int, int) {}
