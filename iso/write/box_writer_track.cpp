#include "common/to_integer.h"
#include "iso/write/box_writer.h"
#include "iso/write/put_sequence.h"

using namespace qlip;

namespace {

constexpr unsigned int kUndefinedLanguage = 0x55C4;  // "und", ISO 639-2 packed in three times five bits

bool is_hint_track(const iso_track* track) {
    return track->codec == ISO_CODEC_RTP || track->codec == ISO_CODEC_SRTP;
}

bool has_track_selection(const iso_track* track) {
    return has_text(track->tsel_attributes) || track->tsel_group != 0;
}

unsigned int duration_in_movie_time(const iso_track* track) {
    if (track->timescale == 0) return 0;
    const double seconds = static_cast<double>(track->duration) / track->timescale;
    return to_u32(seconds * track->file->timescale);
}

int put_media_header(int pass, iso_track* track, unsigned char* dst) {
    switch (track->handler[0]) {
        case 'h':
            return w_hmhd(pass, track, dst);
        case 's':
            return w_smhd(pass, track, dst);
        case 't':
            return w_nmhd(pass, track, dst);
        case 'v':
            return w_vmhd(pass, track, dst);
        default:
            return 0;
    }
}

}  // namespace

int w_trak(int pass, iso_track* track, unsigned char* dst) {
    return put_container<iso_track>(pass, track, dst, "trak",
                                    {w_tkhd, w_tref, w_edts, w_mdia, w_meta, w_udta});
}

int w_tkhd(int pass, iso_track* track, unsigned char* dst) {
    PutBox box(pass, dst, "tkhd");
    box.u32(track->handler[0] == 'h' ? 0 : 1);
    box.u32s({track->creation_time, track->modification_time, track->track_id, 0});
    box.u32(duration_in_movie_time(track)).u32s({0, 0});
    box.u16(track->layer).u16(track->alternate_group).u16(track->volume).u16(0);
    for (const unsigned int word : track->matrix)
        box.u32(word);
    box.u32(track->width << 16).u32(track->height << 16);
    return box.finish();
}

int w_tref(int pass, iso_track* track, unsigned char* dst) {
    if (!is_hint_track(track)) return 0;
    return put_container<iso_track>(pass, track, dst, "tref", {w_hint});
}

int w_hint(int pass, iso_track* track, unsigned char* dst) {
    PutBox box(pass, dst, "hint");
    box.u32(track->hint_ref_track);
    return box.finish();
}

int w_edts(int pass, iso_track* track, unsigned char* dst) {
    if (!track->edits) return 0;
    return put_container<iso_track>(pass, track, dst, "edts", {w_elst});
}

int w_elst(int pass, iso_track* track, unsigned char* dst) {
    PutBox box(pass, dst, "elst");
    box.u32(0).u32(static_cast<unsigned int>(track->edit_count));
    for (int i = 0; i < track->edit_count; ++i) {
        box.u32s({track->edits[i][0], track->edits[i][1], track->edits[i][2]});
    }
    return box.finish();
}

int w_mdia(int pass, iso_track* track, unsigned char* dst) {
    return put_container<iso_track>(pass, track, dst, "mdia", {w_mdhd, w_hdlr, w_minf});
}

int w_mdhd(int pass, iso_track* track, unsigned char* dst) {
    PutBox box(pass, dst, "mdhd");
    box.u32s({0, track->creation_time, track->modification_time, track->timescale, track->duration});
    box.u16(kUndefinedLanguage).u16(0);
    return box.finish();
}

int w_hdlr(int pass, iso_track* track, unsigned char* dst) {
    PutBox box(pass, dst, "hdlr");
    box.u32s({0, 0}).text(track->handler).u32s({0, 0, 0}).text(track->handler).u8(0);
    return box.finish();
}

int w_minf(int pass, iso_track* track, unsigned char* dst) {
    return put_container<iso_track>(pass, track, dst, "minf", {put_media_header, w_dinf, w_stbl});
}

int w_hmhd(int pass, iso_track* /*track*/, unsigned char* dst) {
    PutBox box(pass, dst, "hmhd");
    box.u32(0).u16(0).u16(0).u32s({0, 0, 0});
    return box.finish();
}

int w_smhd(int pass, iso_track* /*track*/, unsigned char* dst) {
    PutBox box(pass, dst, "smhd");
    box.u32s({0, 0});
    return box.finish();
}

int w_nmhd(int pass, iso_track* /*track*/, unsigned char* dst) {
    PutBox box(pass, dst, "nmhd");
    box.u32(0);
    return box.finish();
}

int w_vmhd(int pass, iso_track* /*track*/, unsigned char* dst) {
    PutBox box(pass, dst, "vmhd");
    box.u32s({1, 0, 0});
    return box.finish();
}

int w_dinf(int pass, iso_track* track, unsigned char* dst) {
    return put_container<iso_track>(pass, track, dst, "dinf", {w_dref});
}

int w_dref(int pass, iso_track* track, unsigned char* dst) {
    PutBox box(pass, dst, "dref");
    box.u32s({0, 1}).child(w_url, track);
    return box.finish();
}

int w_url(int pass, iso_track* track, unsigned char* dst) {
    PutBox box(pass, dst, "url ");
    if (track->location) {
        box.u32(0).text(track->location).u8(0);
    } else {
        box.u32(1);  // the media is in this very file
    }
    return box.finish();
}

int w_meta(int pass, iso_track* track, unsigned char* dst) {
    if (!track->xml) return 0;
    // No version word, unlike the published layout: the reading side expects none either.
    return put_container<iso_track>(pass, track, dst, "meta", {w_xml});
}

int w_xml(int pass, iso_track* track, unsigned char* dst) {
    PutBox box(pass, dst, "xml ");
    box.u32(0).bytes(track->xml, track->xml_size);
    return box.finish();
}

int w_udta(int pass, iso_track* track, unsigned char* dst) {
    if (!has_text(track->sdp) && !has_track_selection(track)) return 0;
    return put_container<iso_track>(pass, track, dst, "udta", {w_hnti, w_tsel});
}

int w_hnti(int pass, iso_track* track, unsigned char* dst) {
    if (!has_text(track->sdp)) return 0;
    return put_container<iso_track>(pass, track, dst, "hnti", {w_sdp});
}

int w_sdp(int pass, iso_track* track, unsigned char* dst) {
    PutBox box(pass, dst, "sdp ");
    box.text(track->sdp);
    return box.finish();
}

int w_tsel(int pass, iso_track* track, unsigned char* dst) {
    if (!has_track_selection(track)) return 0;
    PutBox box(pass, dst, "tsel");
    box.u32(0).u32(track->tsel_group).text(track->tsel_attributes);
    return box.finish();
}
