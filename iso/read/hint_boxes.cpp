// Sample entries of hint tracks (ISO/IEC 14496-12, RTP and SRTP hint tracks) and the boxes inside them.
#include "iso/read/box_handlers.h"
#include "iso/read/box_tables.h"
#include "iso/read/payload.h"
#include "iso/read/sample_entry.h"
#include "iso/read/stream_input.h"

using namespace qlip;

namespace {

constexpr int kEntryHead = 8;  // reserved, data reference
constexpr int kEntrySize = 16;

unsigned int read_word_box(iso_file* file, int size) {
    const auto word = read_u32(file);
    skip(file, size - 4);
    return word;
}

}  // namespace

int P_rtp(iso_file* file, int size) {
    iso_track* track = file->current_track;
    skip(file, kEntryHead);
    track->hint_version = read_u16(file);
    track->hint_compat_version = read_u16(file);
    track->max_packet_size = read_u32(file);
    track->codec = ISO_CODEC_RTP;
    return parse_entry_children(file, rtp_box, size - kEntrySize);
}

int P_srtp(iso_file* file, int size) {
    iso_track* track = file->current_track;
    skip(file, kEntryHead);
    skip(file, 4);  // versions
    track->max_packet_size = read_u32(file);
    track->codec = ISO_CODEC_SRTP;
    return parse_entry_children(file, rtp_box, size - kEntrySize);
}

int P_tims(iso_file* file, int size) {
    iso_track* track = file->current_track;
    track->tims = read_word_box(file, size);
    return kGoOn;
}

int P_tsro(iso_file* file, int size) {
    iso_track* track = file->current_track;
    track->tsro = read_word_box(file, size);
    track->tsro_present = 1;
    return kGoOn;
}

int P_snro(iso_file* file, int size) {
    iso_track* track = file->current_track;
    track->snro = read_word_box(file, size);
    track->snro_present = 1;
    return kGoOn;
}

int P_srpp(iso_file* file, int size) {
    iso_track* track = file->current_track;
    skip(file, 4);  // version, flags
    for (auto& type : track->srpp_types)
        getID(file, type);
    return parse(file, sinf_box, size - 20);
}

int P_schm(iso_file* file, int size) {
    iso_track* track = file->current_track;
    const int flags = getint32(file);
    getID(file, track->scheme_type);
    track->scheme_version = read_u32(file);
    if (!(flags & 1)) return kGoOn;
    // Not 12: two bytes beyond the box, kept for the walk behind it, which always went on there [schm-url].
    const int length = size - 10;
    if (length < 1) return kRefuse;
    track->scheme_url = reinterpret_cast<char*>(read_block(file, length));
    if (!track->scheme_url) return kRefuse;
    track->scheme_url[length - 1] = '\0';
    return kGoOn;
}

int P_schi(iso_file* file, int size) {
    iso_track* track = file->current_track;
    unsigned char* body = read_block(file, size);
    if (!body) return kRefuse;
    track->schi = body;
    track->schi_size = static_cast<unsigned int>(size);
    return kGoOn;
}
