// Headers of the movie, of a track and of its media (ISO/IEC 14496-12 clause 8).
#include "iso/read/box_handlers.h"
#include "iso/read/payload.h"
#include "iso/read/stream_input.h"

using namespace qlip;

namespace {

constexpr int kInitialObjectDescriptor = 16;  // tag, ISO/IEC 14496-1

int version_of(iso_file* file) {
    const int version = getbyte(file);
    skip(file, 3);  // flags
    return version;
}

// The four fields that mvhd and mdhd share. Version 1 stores 64-bit times, which are passed over.
template <typename Record>
void read_times(iso_file* file, Record* record) {
    if (version_of(file) == 1) {
        skip(file, 28);
        return;
    }
    record->creation_time = read_u32(file);
    record->modification_time = read_u32(file);
    record->timescale = read_u32(file);
    record->duration = read_u32(file);
}

void read_profiles(iso_file* file) {
    file->od_id = read_u16(file) >> 6;
    file->od_profile = read_u8(file);
    file->scene_profile = read_u8(file);
    file->audio_profile = read_u8(file);
    file->visual_profile = read_u8(file);
    file->graphics_profile = read_u8(file);
}

}  // namespace

int P_mvhd(iso_file* file, int /*size*/) {
    read_times(file, file);
    getint32(file);  // rate
    getint16(file);  // volume
    skip(file, 70);  // reserved, matrix, pre-defined
    file->next_track_id = read_u32(file);
    return kGoOn;
}

int P_iods(iso_file* file, int size) {
    if (size > 12) {
        getint32(file);  // version, flags
        const int tag = getbyte(file);
        size -= 5;
        if (tag == kInitialObjectDescriptor) {
            int length = 0;
            const int length_bytes = getxlen(file, &length);
            if (length_bytes > 0) size -= length_bytes;
            if (length > 6) {
                read_profiles(file);
                size -= 7;
            }
        }
    }
    skip(file, size);
    return kGoOn;
}

int P_tkhd(iso_file* file, int /*size*/) {
    const int version = version_of(file);
    iso_track* track = isoFFtrack(file);
    if (!track) return kRefuse;
    file->current_track = track;
    if (version == 1) {
        skip(file, 32);
    } else {
        track->creation_time = read_u32(file);
        track->modification_time = read_u32(file);
        track->track_id = read_u32(file);
        skip(file, 4);
        getint32(file);  // duration, movie units
    }
    getint32(file);  // reserved
    getint32(file);
    track->codec = ISO_CODEC_NONE;
    track->layer = read_u16(file);
    track->alternate_group = read_u16(file);
    track->volume = read_u16(file);
    getint16(file);  // reserved
    for (unsigned int& word : track->matrix)
        word = read_u32(file);
    track->width = read_u32(file) >> 16;
    track->height = read_u32(file) >> 16;
    return kGoOn;
}

int P_mdhd(iso_file* file, int /*size*/) {
    iso_track* track = file->current_track;
    read_times(file, track);
    skip(file, 4);  // language
    return kGoOn;
}

int P_hdlr(iso_file* file, int size) {
    iso_track* track = file->current_track;
    skip(file, 8);  // version, flags, pre-defined
    getID(file, track->handler);
    skip(file, size - 12);
    return kGoOn;
}

// An edit list that claims rows which are not there is left out; nobody reads it to play a file.
int P_elst(iso_file* file, int /*size*/) {
    iso_track* track = file->current_track;
    const int version = version_of(file);
    const unsigned int count = read_u32(file);
    const unsigned int row_size = version == 1 ? 20 : 12;
    track->edit_count = 0;
    track->edits = nullptr;
    if (!may_claim(file, 1LL * row_size * count) || count > 0x7FFFFFFF / 12) return kGoOn;
    track->edits = static_cast<unsigned int(*)[3]>(isoFFmalloc(file, static_cast<int>(12 * count)));
    if (!track->edits) return kRefuse;
    track->edit_count = static_cast<int>(count);
    for (unsigned int i = 0; i < count; ++i) {
        unsigned int* row = track->edits[i];
        if (version == 1) {
            skip(file, 16);
        } else {
            row[0] = read_u32(file);
            row[1] = read_u32(file);
        }
        row[2] = read_u32(file);
    }
    return kGoOn;
}

// A longer box names more tracks; they are read as the next box, as they always were.
int P_hint(iso_file* file, int /*size*/) {
    iso_track* track = file->current_track;
    track->hint_ref_track = read_u32(file);
    return kGoOn;
}
