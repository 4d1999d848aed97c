#include "qlip/wld_native.h"

#include "formats/native_header.h"
#include "packets/audio_packets.h"
#include "packets/frame_cuts.h"
#include "packets/rfc2190_fragments.h"
#include "packets/video_packets.h"
#include "qlip/isoff.h"

using namespace qlip;

namespace {

void choose(wld_native* native, int clock_rate, wld_packetiser packetise) {
    native->clock_rate = clock_rate;
    native->packetise = packetise;
}

void choose_h264(wld_native* native, int packet_size, const iso_track* track) {
    choose(native, kVideoClock, wld_rfc3984_packet);
    native->max_payload = packet_size;
    native->nal_length_size = track->nal_length_size;
    native->unused = 0;
    native->dsi = track->parameter_sets;
    native->dsi_size = track->parameter_sets_size;
}

int choose_packetiser(wld_native* native, int packet_size, const iso_track* track) {
    switch (native->codec) {
        case ISO_CODEC_MP4V:
        case ISO_CODEC_S263:
            choose(native, kVideoClock, wld_video_packet);
            return 0;
        case ISO_CODEC_SAMR:
            choose(native, kNarrowbandClock, wld_amr_packet);
            return 0;
        case ISO_CODEC_SAWB:
            choose(native, kWidebandClock, wld_amr_packet);
            return 0;
        case ISO_CODEC_AVC1:
            choose_h264(native, packet_size, track);
            return 0;
        case ISO_CODEC_MP4A:
        case ISO_CODEC_SAWP:
            return 0;
        default:
            return WLD_FAILED;
    }
}

template <class Sink>
int packetise(Sink& sink, qlip::ByteSpan frame, double seconds, wld_native& native) {
    using namespace qlip;
    const bool h263 = native.codec == ISO_CODEC_S263;
    if (h263 && native.rfc_mode == WLD_RFC_2429) {
        return packetise_video<WldFamily>(sink, frame, seconds, native, WLD_TYPE_H263,
                                          Rfc2429Pieces(native.max_payload));
    }
    return packetise_video<WldFamily>(sink, frame, seconds, native, h263 ? WLD_TYPE_H263 : WLD_TYPE_MPEG4,
                                      PlainPieces(native.max_payload));
}

}  // namespace

int wld_native_init(wld_native* native, int payload_type, int packet_size, int rfc_mode, iso_track* track,
                    int flags) {
    native->rtp.sequence = 0;
    native->rtp.timestamp = 0;
    native->rtp.marker = 0;
    native->rtp.magic = kPacketMagic;
    native->rtp.payload_type = static_cast<unsigned int>(payload_type);
    native->dsi = nullptr;
    native->dsi_size = 0;
    native->time_accumulator = 0.0;
    native->max_payload = kPacketBytes;
    native->last_source_format = 0;
    native->rfc_mode = static_cast<unsigned int>(rfc_mode);
    native->flags = static_cast<unsigned int>(flags);
    native->codec = track->codec;
    return choose_packetiser(native, packet_size, track);
}

int wld_native_packet(void* out, int out_size, void* in, int in_size, double seconds, wld_native* native) {
    if (!native->packetise) return WLD_FAILED;
    return native->packetise(out, out_size, in, in_size, seconds, native);
}

int wld_put_header(void* out, WLD_RTP* rtp, int payload_type) {
    put_next_header(out, *rtp, payload_type);
    return sizeof(wld_packet_record);
}

int wld_amr_packet(void* out, int out_size, void* in, int in_size, double, wld_native* native) {
    return packetise_amr<WldFamily>(out, out_size, in, in_size, *native);
}

int wld_video_packet(void* out, int out_size, void* in, int in_size, double seconds, wld_native* native) {
    RecordSink sink(out, out_size);
    const ByteSpan frame = input_of(in, in_size);
    const bool rfc2190 = native->rfc_mode == WLD_RFC_2190 || native->rfc_mode == WLD_RFC_2190_B;
    if (native->codec == ISO_CODEC_S263 && rfc2190) return packetise_rfc2190(sink, frame, seconds, *native);
    return packetise(sink, frame, seconds, *native);
}

int qlip::cut_video(FrameCuts& cuts, ByteSpan frame, double seconds, wld_native& native) {
    return packetise(cuts, frame, seconds, native);
}
