#include <cstdint>

#include "common/byte_order.h"
#include "formats/mpeg4_descriptors.h"
#include "formats/nal.h"
#include "iso/write/box_writer.h"
#include "iso/write/put_sequence.h"

using namespace qlip;

namespace {

// A sample entry: the fields of its kind, then its configuration box.
int put_entry(int pass, iso_track* track, unsigned char* dst, const char* type,
              int (*fields)(int, iso_track*, unsigned char*),
              int (*configuration)(int, iso_track*, unsigned char*)) {
    return put_container<iso_track>(pass, track, dst, type, {fields, configuration});
}

// Parameter sets in stored form. With four-byte NAL lengths the reading side keeps each set behind two zero
// bytes, which widen its length prefix; the box has the two-byte prefix alone.
void put_parameter_sets(PutSequence& box, unsigned char* sets, int count, unsigned int nal_length_size) {
    for (int i = 0; sets && i < count; ++i) {
        if (nal_length_size == 4 && load_be16(sets) == 0) sets += 2;
        const int size = 2 + load_be16(sets);
        box.bytes(sets, size);
        sets += size;
    }
}

int put_word_box(int pass, unsigned char* dst, const char* type, unsigned int value) {
    PutBox box(pass, dst, type);
    box.u32(value);
    return box.finish();
}

void put_hint_fields(PutSequence& box, iso_track* track) {
    box.u32s({0, 1}).u16(1).u16(1).u32(track->max_packet_size);
    box.child(w_tims, track).child(w_tsro, track).child(w_snro, track);
}

// Frames per sample as the constant duration of a sample tells: 50 frames a second.
void settle_frames_per_sample(iso_track* track) {
    if (track->stts_count != 1 || track->timescale == 0) return;
    track->frames_per_sample =
        static_cast<unsigned char>(uint64_t{track->default_delta} * 50 / track->timescale);
}

}  // namespace

int w_stsd(int pass, iso_track* track, unsigned char* dst) {
    PutBox box(pass, dst, "stsd");
    box.u32s({0, 1}).child(w_sampleEntry, track);
    return box.finish();
}

int w_sampleEntry(int pass, iso_track* track, unsigned char* dst) {
    switch (track->codec) {
        case ISO_CODEC_MP4V:
            return w_mp4v(pass, track, dst);
        case ISO_CODEC_MP4A:
            return w_mp4a(pass, track, dst);
        case ISO_CODEC_S263:
            return w_s263(pass, track, dst);
        case ISO_CODEC_SAMR:
        case ISO_CODEC_SAWB:
        case ISO_CODEC_SAWP:
            return w_samr(pass, track, dst);
        case ISO_CODEC_AVC1:
            return w_avc1(pass, track, dst);
        case ISO_CODEC_RTP:
            return w_rtp(pass, track, dst);
        case ISO_CODEC_SRTP:
            return w_srtp(pass, track, dst);
        default:
            return 0;
    }
}

int w_mp4v(int pass, iso_track* track, unsigned char* dst) {
    return put_entry(pass, track, dst, "mp4v", w_video_info, w_esds);
}

int w_mp4a(int pass, iso_track* track, unsigned char* dst) {
    return put_entry(pass, track, dst, "mp4a", w_audio_info, w_esds);
}

int w_s263(int pass, iso_track* track, unsigned char* dst) {
    return put_entry(pass, track, dst, "s263", w_video_info, w_d263);
}

int w_samr(int pass, iso_track* track, unsigned char* dst) {
    if (track->codec == ISO_CODEC_SAWP) return put_entry(pass, track, dst, "sawp", w_audio_info, w_dawp);
    const char* type = track->codec == ISO_CODEC_SAWB ? "sawb" : "samr";
    return put_entry(pass, track, dst, type, w_audio_info, w_damr);
}

int w_avc1(int pass, iso_track* track, unsigned char* dst) {
    return put_entry(pass, track, dst, "avc1", w_video_info, w_avcC);
}

int w_rtp(int pass, iso_track* track, unsigned char* dst) {
    PutBox box(pass, dst, "rtp ");
    put_hint_fields(box, track);
    return box.finish();
}

int w_srtp(int pass, iso_track* track, unsigned char* dst) {
    PutBox box(pass, dst, "srtp");
    put_hint_fields(box, track);
    box.child(w_srpp, track);
    return box.finish();
}

int w_damr(int pass, iso_track* track, unsigned char* dst) {
    settle_frames_per_sample(track);
    PutBox box(pass, dst, "damr");
    box.id(track->vendor).u8(track->decoder_version).u16(track->mode_set);
    box.u8(track->mode_change_period).u8(track->frames_per_sample);
    return box.finish();
}

int w_dawp(int pass, iso_track* track, unsigned char* dst) {
    PutBox box(pass, dst, "dawp");
    box.id(track->vendor).u8(track->decoder_version);
    return box.finish();
}

int w_d263(int pass, iso_track* track, unsigned char* dst) {
    PutBox box(pass, dst, "d263");
    box.id(track->vendor).u8(track->decoder_version).u8(track->level).u8(track->profile);
    return box.finish();
}

int w_esds(int pass, iso_track* track, unsigned char* dst) {
    PutBox box(pass, dst, "esds");
    box.u32(0).child(w_ES_Desc, track);
    return box.finish();
}

int w_ES_Desc(int pass, iso_track* track, unsigned char* dst) {
    PutDescriptor descriptor(pass, dst, kEsDescriptor);
    descriptor.u16(0).u8(0).child(w_decoderConfig, track);
    descriptor.u8(kSlConfig).u8(1).u8(kSlConfigOfFiles);
    return descriptor.finish();
}

int w_decoderConfig(int pass, iso_track* track, unsigned char* dst) {
    PutDescriptor descriptor(pass, dst, kDecoderConfig);
    descriptor.u8(track->object_type).u8(track->stream_type * 4 + 1).u24(track->buffer_size_db);
    descriptor.u32(track->max_bitrate).u32(track->avg_bitrate);
    descriptor.u8(kDecoderSpecificInfo).length(static_cast<unsigned int>(track->dsi_size));
    descriptor.bytes(track->dsi, track->dsi_size);
    return descriptor.finish();
}

int w_avcC(int pass, iso_track* track, unsigned char* dst) {
    PutBox box(pass, dst, "avcC");
    if (track->dsi_size >= 1) {
        box.bytes(track->dsi, track->dsi_size);
        return box.finish();
    }
    box.u8(kAvccVersion).u8(track->profile).u8(track->profile_compat).u8(track->level);
    box.u8((track->nal_length_size - 1) | kAvccLengthSizeReserved);
    box.u8(static_cast<unsigned int>(track->sps_count) | kAvccSetCountReserved);
    put_parameter_sets(box, track->sps, track->sps_count, track->nal_length_size);
    box.u8(static_cast<unsigned int>(track->pps_count));
    put_parameter_sets(box, track->pps, track->pps_count, track->nal_length_size);
    return box.finish();
}

int w_tims(int pass, iso_track* track, unsigned char* dst) {
    return put_word_box(pass, dst, "tims", track->tims);
}

int w_tsro(int pass, iso_track* track, unsigned char* dst) {
    return put_word_box(pass, dst, "tsro", track->tsro);
}

int w_snro(int pass, iso_track* track, unsigned char* dst) {
    return put_word_box(pass, dst, "snro", track->snro);
}

int w_srpp(int pass, iso_track* track, unsigned char* dst) {
    PutBox box(pass, dst, "srpp");
    box.u32(0);
    for (char* type : track->srpp_types)
        box.id(type);
    box.child(w_schm, track).child(w_schi, track);
    return box.finish();
}

int w_schm(int pass, iso_track* track, unsigned char* dst) {
    if (!has_text(track->scheme_type)) return 0;
    PutBox box(pass, dst, "schm");
    box.u32(track->scheme_url ? 1 : 0).id(track->scheme_type).u32(track->scheme_version);
    if (track->scheme_url) box.text(track->scheme_url).u8(0);
    return box.finish();
}

int w_schi(int pass, iso_track* track, unsigned char* dst) {
    if (track->schi_size == 0) return 0;
    PutBox box(pass, dst, "schi");
    box.bytes(track->schi, static_cast<int>(track->schi_size));
    return box.finish();
}

int w_video_info(int pass, iso_track* track, unsigned char* dst) {
    PutSequence fields(pass, dst);
    fields.u32s({0, 1, 0, 0, 0, 0}).u16(track->width).u16(track->height);
    fields.u32s({track->h_resolution, track->v_resolution, 0}).u16(1);
    fields.u32s({0, 0, 0, 0, 0, 0, 0, 0}).u16(track->depth).u16(65535);
    return fields.size();
}

int w_audio_info(int pass, iso_track* track, unsigned char* dst) {
    PutSequence fields(pass, dst);
    fields.u32s({0, 1, 0, 0}).u16(2).u16(16).u16(0).u16(0).u16(track->timescale).u16(0);
    return fields.size();
}
